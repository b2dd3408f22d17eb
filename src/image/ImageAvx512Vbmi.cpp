// Image kernels with AVX-512 and VBMI: 64 bytes at a time.
#include <immintrin.h>

#include "image/ImageLanes.h"
#include "image/YuvProducts.h"

namespace nubrix {

namespace {

struct VbmiLanes : ByteLanes<VbmiLanes, 64> {
    NUBRIX_KERNEL_INLINE Words addSaturated(Words a, Words b)
    {
        return reinterpret_cast<Words>(_mm512_adds_epi16(of(a), of(b)));
    }
    NUBRIX_KERNEL_INLINE Bytes subtractSaturated(Bytes a, Bytes b)
    {
        return reinterpret_cast<Bytes>(_mm512_subs_epu8(of(a), of(b)));
    }
    NUBRIX_KERNEL_INLINE Words addProducts(Bytes unsignedBytes, Bytes signedBytes)
    {
        return reinterpret_cast<Words>(_mm512_maddubs_epi16(of(unsignedBytes), of(signedBytes)));
    }
    NUBRIX_KERNEL_INLINE Words multiplyHigh(Words a, int factor)
    {
        return reinterpret_cast<Words>(_mm512_mulhi_epu16(of(a), of(allOf(factor))));
    }
    NUBRIX_KERNEL_INLINE Words multiplyHighSigned(Words a, int factor)
    {
        return reinterpret_cast<Words>(_mm512_mulhi_epi16(of(a), of(allOf(factor))));
    }
    NUBRIX_KERNEL_INLINE Bytes pack(Words a, Words b)
    {
        return reinterpret_cast<Bytes>(_mm512_packus_epi16(of(a), of(b)));
    }
    NUBRIX_KERNEL_INLINE Words spread(const void *from, int low)
    {
        const __m512i words =
            _mm512_cvtepu8_epi16(_mm256_loadu_si256(static_cast<const __m256i *>(from)));
        return reinterpret_cast<Words>(_mm512_slli_epi16(words, 8)) | allOf(low);
    }

private:
    template <class Vector>
    NUBRIX_KERNEL_INLINE __m512i of(Vector values)
    {
        return reinterpret_cast<__m512i>(values);
    }
};

}  // namespace

const YuvKernel kYuvAvx512Vbmi = kYuvKernelOf<VbmiLanes, ProductPixels<VbmiLanes>>;

}  // namespace nubrix
