#include "tests/checksum/SoftCrc32.h"

#include <algorithm>

#include "checksum/Crc32Folding.h"

namespace nubrix {

namespace {

template <std::size_t N>
struct SoftVector {
    typedef std::uint64_t Type __attribute__((vector_size(16 * N)));
};

template <std::size_t N>
struct SoftLanes {
    using Vector = typename SoftVector<N>::Type;
    using OfPiece = SoftLanes<1>;
    static constexpr std::size_t kPieces = N;

    static Vector reversed(Vector bytes)
    {
        unsigned char turned[16 * N];
        __builtin_memcpy(turned, &bytes, sizeof(bytes));
        for (std::size_t i = 0; i < N; ++i)
            std::reverse(turned + 16 * i, turned + 16 * i + 16);
        __builtin_memcpy(&bytes, turned, sizeof(bytes));
        return bytes;
    }
    static Vector withCrc(unsigned int crc)
    {
        Vector vector = {};
        vector[1] = std::uint64_t{crc} << 32;
        return vector;
    }
    static Vector factors(Crc32Factors factors)
    {
        Vector vector = {};
        for (std::size_t i = 0; i < N; ++i) {
            vector[2 * i] = factors.low;
            vector[2 * i + 1] = factors.high;
        }
        return vector;
    }
    static Vector fold(Vector first, Vector factors, Vector next)
    {
        for (std::size_t i = 0; i < 2 * N; ++i) {
            const std::uint64_t factor = factors[i];
            for (int bit = 0; bit < 32; ++bit) {
                if (factor >> bit & 1) {
                    next[i / 2 * 2] ^= first[i] << bit;
                    next[i / 2 * 2 + 1] ^= bit == 0 ? 0 : first[i] >> (64 - bit);
                }
            }
        }
        return next;
    }
};

template <std::size_t N>
void foldSoftly(unsigned int crc, const unsigned char *data, std::size_t size,
                unsigned char *folded)
{
    Crc32Folding<SoftLanes<N>>::run(crc, data, size, folded);
}

}  // namespace

Crc32Fold *const kSoftCrc32Folds[3] = {foldSoftly<1>, foldSoftly<2>, foldSoftly<4>};

}  // namespace nubrix
