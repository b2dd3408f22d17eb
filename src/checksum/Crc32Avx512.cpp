// CRC-32/MPEG-2 with AVX-512 and VPCLMULQDQ: 64 bytes at a time.
#include "checksum/Crc32Clmul.h"

namespace nubrix {

namespace {

struct Crc32Avx512Lanes {
    using Vector = __m512i;
    using OfPiece = Crc32ClmulPiece<Crc32Avx512Lanes>;
    static constexpr std::size_t kPieces = 4;

    NUBRIX_KERNEL_INLINE Vector reversed(Vector bytes)
    {
        return _mm512_shuffle_epi8(bytes, _mm512_broadcast_i32x4(OfPiece::order()));
    }
    NUBRIX_KERNEL_INLINE Vector withCrc(unsigned int crc)
    {
        return _mm512_zextsi128_si512(OfPiece::withCrc(crc));
    }
    NUBRIX_KERNEL_INLINE Vector factors(Crc32Factors factors)
    {
        return _mm512_broadcast_i32x4(OfPiece::factors(factors));
    }
    NUBRIX_KERNEL_INLINE Vector fold(Vector first, Vector factors, Vector next)
    {
        constexpr int kExclusiveOrOfThree = 0x96;
        return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(first, factors, 0x11),
                                         _mm512_clmulepi64_epi128(first, factors, 0x00), next,
                                         kExclusiveOrOfThree);
    }
};

}  // namespace

void foldCrc32Avx512(unsigned int crc, const unsigned char *data, std::size_t size,
                     unsigned char *folded)
{
    Crc32Folding<Crc32Avx512Lanes>::run(crc, data, size, folded);
}

}  // namespace nubrix
