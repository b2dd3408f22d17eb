// Image kernels with SSE4.1: 16 bytes at a time.
#include <immintrin.h>

#include "image/ImageLanes.h"

namespace nubrix {

namespace {

struct Sse41Lanes : ByteLanes<Sse41Lanes, 16> {
    NUBRIX_KERNEL_INLINE Words addSaturated(Words a, Words b)
    {
        return reinterpret_cast<Words>(_mm_adds_epi16(of(a), of(b)));
    }
    NUBRIX_KERNEL_INLINE Bytes subtractSaturated(Bytes a, Bytes b)
    {
        return reinterpret_cast<Bytes>(_mm_subs_epu8(of(a), of(b)));
    }
    NUBRIX_KERNEL_INLINE Words addProducts(Bytes unsignedBytes, Bytes signedBytes)
    {
        return reinterpret_cast<Words>(_mm_maddubs_epi16(of(unsignedBytes), of(signedBytes)));
    }
    NUBRIX_KERNEL_INLINE Words multiplyHigh(Words a, int factor)
    {
        return reinterpret_cast<Words>(_mm_mulhi_epu16(of(a), of(allOf(factor))));
    }
    NUBRIX_KERNEL_INLINE Words multiplyHighSigned(Words a, int factor)
    {
        return reinterpret_cast<Words>(_mm_mulhi_epi16(of(a), of(allOf(factor))));
    }
    NUBRIX_KERNEL_INLINE Bytes pack(Words a, Words b)
    {
        return reinterpret_cast<Bytes>(_mm_packus_epi16(of(a), of(b)));
    }
    NUBRIX_KERNEL_INLINE Words spread(const void *from, int low)
    {
        const __m128i bytes = _mm_loadl_epi64(static_cast<const __m128i *>(from));
        const __m128i lower = _mm_set1_epi8(static_cast<char>(low));
        return reinterpret_cast<Words>(_mm_unpacklo_epi8(lower, bytes));
    }

private:
    template <class Vector>
    NUBRIX_KERNEL_INLINE __m128i of(Vector values)
    {
        return reinterpret_cast<__m128i>(values);
    }
};

}  // namespace

const YuvKernel kYuvSse41 = kYuvKernelOf<Sse41Lanes>;
const TurnKernels kTurnsSse41 = kTurnKernelsOf<Sse41Lanes>;

}  // namespace nubrix
