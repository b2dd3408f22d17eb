// The folding of a CRC-32/MPEG-2, several times 16 bytes at a time; compiled once for each
// instruction set.
//
// 16 bytes are a polynomial over GF(2), H * x^64 + L, the first bit of the message highest. What
// follows them, d bits later, is added to H * (x^(d + 64) mod P) + L * (x^d mod P): that is as
// good modulo P, and has 96 bits at most.
//
// Everything here is static or a template over a type that is local to the including source, so no
// function of it can end up in the place of one that was compiled for less.
#pragma once

#include <cstddef>
#include <cstdint>

#include "checksum/Crc32.h"
#include "cpu/CpuFeatures.h"

namespace nubrix {

/// What H and L are multiplied with.
struct Crc32Factors {
    std::uint64_t high;
    std::uint64_t low;
};

static constexpr std::uint64_t crc32PowerOfX(std::size_t exponent)
{
    std::uint64_t power = 1;
    for (std::size_t i = 0; i < exponent; ++i)
        power = (power << 1) ^ (power >> 31 != 0 ? 0x104c11db7 : 0);
    return power;
}

static constexpr Crc32Factors crc32FactorsOver(std::size_t bytes)
{
    return {crc32PowerOfX(8 * bytes + 64), crc32PowerOfX(8 * bytes)};
}

/// `Lanes` holds kPieces times 16 bytes in a Vector, the compiler's or made of it:
///     Vector reversed(Vector)             the bytes of each piece the other way round
///     Vector withCrc(unsigned int crc)    the CRC as the first four bytes of a message
///     Vector factors(Crc32Factors)        the same for each piece
///     Vector fold(Vector first, Vector factors, Vector next)
/// `Lanes::OfPiece` is the Lanes for one piece. A piece that is reversed is a polynomial.
template <class Lanes>
struct Crc32Folding {
    using Vector = typename Lanes::Vector;
    using OfPiece = typename Lanes::OfPiece;
    using Piece = typename OfPiece::Vector;

    static constexpr std::size_t kVectors = 8;  // hide how long a multiplication takes
    static constexpr std::size_t kVectorBytes = Lanes::kPieces * kCrc32Piece;
    static constexpr std::size_t kRowBytes = kVectors * kVectorBytes;
    static constexpr Crc32Factors kOverPiece = crc32FactorsOver(kCrc32Piece);
    static constexpr Crc32Factors kOverVector = crc32FactorsOver(kVectorBytes);
    static constexpr Crc32Factors kOverRow = crc32FactorsOver(kRowBytes);

    NUBRIX_KERNEL_INLINE void run(unsigned int crc, const unsigned char *data, std::size_t size,
                                  unsigned char *folded)
    {
        const unsigned char *const end = data + size;
        Piece sum;
        if (size >= kRowBytes) {
            sum = foldRows(crc, data, end);
        } else {
            sum = load<OfPiece>(data) ^ OfPiece::withCrc(crc);
            data += kCrc32Piece;
        }
        const Piece factors = OfPiece::factors(kOverPiece);
        for (; data < end; data += kCrc32Piece)
            sum = OfPiece::fold(sum, factors, load<OfPiece>(data));
        sum = OfPiece::reversed(sum);
        __builtin_memcpy(folded, &sum, sizeof(sum));
    }

private:
    template <class Each>
    NUBRIX_KERNEL_INLINE typename Each::Vector load(const unsigned char *from)
    {
        typename Each::Vector bytes;
        __builtin_memcpy(&bytes, from, sizeof(bytes));
        return Each::reversed(bytes);
    }

    /// Takes as many whole vectors as there are from `data` on.
    NUBRIX_KERNEL_INLINE Piece foldRows(unsigned int crc, const unsigned char *&data,
                                        const unsigned char *end)
    {
        Vector row[kVectors];
        for (std::size_t i = 0; i < kVectors; ++i)
            row[i] = load<Lanes>(data + i * kVectorBytes);
        row[0] ^= Lanes::withCrc(crc);
        data += kRowBytes;

        const Vector overRow = Lanes::factors(kOverRow);
        for (; bytesBetween(data, end) >= kRowBytes; data += kRowBytes) {
            for (std::size_t i = 0; i < kVectors; ++i)
                row[i] = Lanes::fold(row[i], overRow, load<Lanes>(data + i * kVectorBytes));
        }
        Vector sum = sumOf<Lanes, kVectors>(row);

        const Vector overVector = Lanes::factors(kOverVector);
        for (; bytesBetween(data, end) >= kVectorBytes; data += kVectorBytes)
            sum = Lanes::fold(sum, overVector, load<Lanes>(data));

        Piece pieces[Lanes::kPieces];
        __builtin_memcpy(pieces, &sum, sizeof(sum));
        return sumOf<OfPiece, Lanes::kPieces>(pieces);
    }

    /// Folds all into the last.
    template <class Each, std::size_t kCount>
    NUBRIX_KERNEL_INLINE typename Each::Vector sumOf(const typename Each::Vector *vectors)
    {
        constexpr Overs<kCount> kOvers(sizeof(*vectors));
        typename Each::Vector sum = vectors[kCount - 1];
        for (std::size_t i = 0; i + 1 < kCount; ++i)
            sum = Each::fold(vectors[i], Each::factors(kOvers.factors[i]), sum);
        return sum;
    }

    template <std::size_t kCount>
    struct Overs {
        constexpr explicit Overs(std::size_t bytes)
        {
            for (std::size_t i = 0; i < kCount; ++i)
                factors[i] = crc32FactorsOver((kCount - 1 - i) * bytes);
        }
        Crc32Factors factors[kCount] = {};
    };

    NUBRIX_KERNEL_INLINE std::size_t bytesBetween(const unsigned char *begin,
                                                  const unsigned char *end)
    {
        return static_cast<std::size_t>(end - begin);
    }
};

}  // namespace nubrix
