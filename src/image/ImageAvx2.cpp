// Image kernels with AVX2: 32 bytes at a time.
#include <immintrin.h>

#include "image/ImageLanes.h"

namespace nubrix {

namespace {

struct Avx2Lanes : ByteLanes<Avx2Lanes, 32> {
    NUBRIX_KERNEL_INLINE Words addSaturated(Words a, Words b)
    {
        return reinterpret_cast<Words>(_mm256_adds_epi16(of(a), of(b)));
    }
    NUBRIX_KERNEL_INLINE Bytes subtractSaturated(Bytes a, Bytes b)
    {
        return reinterpret_cast<Bytes>(_mm256_subs_epu8(of(a), of(b)));
    }
    NUBRIX_KERNEL_INLINE Words addProducts(Bytes unsignedBytes, Bytes signedBytes)
    {
        return reinterpret_cast<Words>(_mm256_maddubs_epi16(of(unsignedBytes), of(signedBytes)));
    }
    NUBRIX_KERNEL_INLINE Words multiplyHigh(Words a, int factor)
    {
        return reinterpret_cast<Words>(_mm256_mulhi_epu16(of(a), of(allOf(factor))));
    }
    NUBRIX_KERNEL_INLINE Words multiplyHighSigned(Words a, int factor)
    {
        return reinterpret_cast<Words>(_mm256_mulhi_epi16(of(a), of(allOf(factor))));
    }
    NUBRIX_KERNEL_INLINE Bytes pack(Words a, Words b)
    {
        return reinterpret_cast<Bytes>(_mm256_packus_epi16(of(a), of(b)));
    }
    NUBRIX_KERNEL_INLINE Words spread(const void *from, int low)
    {
        const __m256i both =
            _mm256_broadcastsi128_si256(_mm_loadu_si128(static_cast<const __m128i *>(from)));
        const __m256i order = _mm256_set_epi64x(0x0fff0eff0dff0cff, 0x0bff0aff09ff08ff,
                                                0x07ff06ff05ff04ff, 0x03ff02ff01ff00ff);
        return reinterpret_cast<Words>(_mm256_shuffle_epi8(both, order)) | allOf(low);
    }

private:
    template <class Vector>
    NUBRIX_KERNEL_INLINE __m256i of(Vector values)
    {
        return reinterpret_cast<__m256i>(values);
    }
};

}  // namespace

const YuvKernel kYuvAvx2 = kYuvKernelOf<Avx2Lanes>;
const TurnKernels kTurnsAvx2 = kTurnKernelsOf<Avx2Lanes>;

}  // namespace nubrix
