// CRC-32/MPEG-2 with AVX2 and VPCLMULQDQ: 32 bytes at a time.
#include "checksum/Crc32Clmul.h"

namespace nubrix {

namespace {

struct Crc32Avx2Lanes {
    using Vector = __m256i;
    using OfPiece = Crc32ClmulPiece<Crc32Avx2Lanes>;
    static constexpr std::size_t kPieces = 2;

    NUBRIX_KERNEL_INLINE Vector reversed(Vector bytes)
    {
        return _mm256_shuffle_epi8(bytes, _mm256_broadcastsi128_si256(OfPiece::order()));
    }
    NUBRIX_KERNEL_INLINE Vector withCrc(unsigned int crc)
    {
        return _mm256_zextsi128_si256(OfPiece::withCrc(crc));
    }
    NUBRIX_KERNEL_INLINE Vector factors(Crc32Factors factors)
    {
        return _mm256_broadcastsi128_si256(OfPiece::factors(factors));
    }
    NUBRIX_KERNEL_INLINE Vector fold(Vector first, Vector factors, Vector next)
    {
        return _mm256_clmulepi64_epi128(first, factors, 0x11) ^
               _mm256_clmulepi64_epi128(first, factors, 0x00) ^ next;
    }
};

}  // namespace

void foldCrc32Avx2(unsigned int crc, const unsigned char *data, std::size_t size,
                   unsigned char *folded)
{
    Crc32Folding<Crc32Avx2Lanes>::run(crc, data, size, folded);
}

}  // namespace nubrix
