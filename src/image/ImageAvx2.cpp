// Image kernels with AVX2: 32 bytes at a time.
#include <immintrin.h>

#include "image/ImageLanes.h"

namespace nubrix {

namespace {

struct Avx2Lanes : ByteLanes<Avx2Lanes, 32> {
    NUBRIX_LANES_INLINE Words widen(HalfBytes bytes)
    {
        return reinterpret_cast<Words>(_mm256_cvtepu8_epi16(reinterpret_cast<__m128i>(bytes)));
    }
    NUBRIX_LANES_INLINE Words addSaturated(Words a, Words b)
    {
        return reinterpret_cast<Words>(
            _mm256_adds_epi16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
    }
    NUBRIX_LANES_INLINE Bytes pack(Words a, Words b)
    {
        return reinterpret_cast<Bytes>(
            _mm256_packus_epi16(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)));
    }
};

}  // namespace

const ImageKernel kImageAvx2 = kImageKernelOf<Avx2Lanes>;

}  // namespace nubrix
