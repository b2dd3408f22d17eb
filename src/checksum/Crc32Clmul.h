// 16 bytes of a CRC-32/MPEG-2 with PCLMULQDQ, as the vectorised forms for x86 share it.
#pragma once

#include <immintrin.h>

#include "checksum/Crc32Folding.h"

namespace nubrix {

/// `Local` is a type of the including source.
template <class Local>
struct Crc32ClmulPiece {
    using Vector = __m128i;
    using OfPiece = Crc32ClmulPiece;
    static constexpr std::size_t kPieces = 1;

    /// The order that turns 16 bytes round.
    NUBRIX_KERNEL_INLINE __m128i order()
    {
        return _mm_set_epi64x(0x0001020304050607, 0x08090a0b0c0d0e0f);
    }
    NUBRIX_KERNEL_INLINE Vector reversed(Vector bytes) { return _mm_shuffle_epi8(bytes, order()); }
    NUBRIX_KERNEL_INLINE Vector withCrc(unsigned int crc)
    {
        return _mm_set_epi32(static_cast<int>(crc), 0, 0, 0);
    }
    NUBRIX_KERNEL_INLINE Vector factors(Crc32Factors factors)
    {
        return _mm_set_epi64x(static_cast<long long>(factors.high),
                              static_cast<long long>(factors.low));
    }
    NUBRIX_KERNEL_INLINE Vector fold(Vector first, Vector factors, Vector next)
    {
        return _mm_clmulepi64_si128(first, factors, 0x11) ^
               _mm_clmulepi64_si128(first, factors, 0x00) ^ next;
    }
};

}  // namespace nubrix
