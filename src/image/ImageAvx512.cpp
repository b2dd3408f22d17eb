// Image kernels with AVX-512: 64 bytes at a time.
#include <immintrin.h>

#include "image/ImageLanes.h"

namespace nubrix {

namespace {

struct Avx512Lanes : ByteLanes<Avx512Lanes, 64> {
    NUBRIX_LANES_INLINE Words widen(HalfBytes bytes)
    {
        return reinterpret_cast<Words>(_mm512_cvtepu8_epi16(reinterpret_cast<__m256i>(bytes)));
    }
    NUBRIX_LANES_INLINE Words addSaturated(Words a, Words b)
    {
        return reinterpret_cast<Words>(
            _mm512_adds_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
    }
    NUBRIX_LANES_INLINE Bytes pack(Words a, Words b)
    {
        return reinterpret_cast<Bytes>(
            _mm512_packus_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
    }
};

struct TileLanes : ByteLanes<TileLanes, 32> {};

}  // namespace

const ImageKernel kImageAvx512 = kImageKernelOf<Avx512Lanes, TileLanes>;

}  // namespace nubrix
