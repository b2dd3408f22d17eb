// Image kernels with SSE4.1: 16 bytes at a time.
#include <immintrin.h>

#include "image/ImageLanes.h"

namespace nubrix {

namespace {

struct Sse41Lanes : ByteLanes<Sse41Lanes, 16> {
    NUBRIX_KERNEL_INLINE Words widen(HalfBytes bytes)
    {
        return reinterpret_cast<Words>(
            _mm_cvtepu8_epi16(_mm_cvtsi64_si128(__builtin_bit_cast(long long, bytes))));
    }
    NUBRIX_KERNEL_INLINE Words addSaturated(Words a, Words b)
    {
        return reinterpret_cast<Words>(
            _mm_adds_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
    }
    NUBRIX_KERNEL_INLINE Bytes pack(Words a, Words b)
    {
        return reinterpret_cast<Bytes>(
            _mm_packus_epi16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
    }
};

}  // namespace

const ImageKernel kImageSse41 = kImageKernelOf<Sse41Lanes>;

}  // namespace nubrix
