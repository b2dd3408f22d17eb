// Point clouds with AVX-512: 16 pixels at a time.
#include <immintrin.h>

#include "cloud/PointCloudLanes.h"

namespace nubrix {

namespace {

struct Avx512Lanes : FusedLanes<Avx512Lanes, 16> {
    static constexpr bool kStreams = true;

    NUBRIX_KERNEL_INLINE Int load(const unsigned short *from)
    {
        __m256i raw;
        __builtin_memcpy(&raw, from, sizeof(raw));
        return reinterpret_cast<Int>(_mm512_cvtepu16_epi32(raw));
    }
    NUBRIX_KERNEL_INLINE Float multiplyAdd(Float sum, Float a, Float b)
    {
        return _mm512_fmadd_ps(a, b, sum);
    }
    NUBRIX_KERNEL_INLINE Float multiplySubtract(Float from, Float a, Float b)
    {
        return _mm512_fnmadd_ps(a, b, from);
    }
    NUBRIX_KERNEL_INLINE void stream(float *to, Float values) { _mm512_stream_ps(to, values); }
    NUBRIX_KERNEL_INLINE void streamColour(float *to, const float *from)
    {
        _mm_stream_ps(to, _mm_load_ps(from));
    }
    NUBRIX_KERNEL_INLINE void endStream() { _mm_sfence(); }
};

}  // namespace

const CloudKernel kCloudAvx512 = kCloudKernelOf<Avx512Lanes>;

}  // namespace nubrix
