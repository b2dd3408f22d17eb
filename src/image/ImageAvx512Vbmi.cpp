// Image kernels with AVX-512 and VBMI: 64 bytes at a time.
#include <immintrin.h>

#include "image/ImageLanes.h"

namespace nubrix {

namespace {

struct Avx512VbmiLanes : ByteLanes<Avx512VbmiLanes, 64> {
    NUBRIX_KERNEL_INLINE Words widen(HalfBytes bytes)
    {
        return reinterpret_cast<Words>(_mm512_cvtepu8_epi16(reinterpret_cast<__m256i>(bytes)));
    }
    NUBRIX_KERNEL_INLINE Words addSaturated(Words a, Words b)
    {
        return reinterpret_cast<Words>(
            _mm512_adds_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
    }
    NUBRIX_KERNEL_INLINE Bytes pack(Words a, Words b)
    {
        return reinterpret_cast<Bytes>(
            _mm512_packus_epi16(reinterpret_cast<__m512i>(a), reinterpret_cast<__m512i>(b)));
    }
};

struct TileLanes : ByteLanes<TileLanes, 32> {};

}  // namespace

const ImageKernel kImageAvx512Vbmi = kImageKernelOf<Avx512VbmiLanes, TileLanes>;

}  // namespace nubrix
