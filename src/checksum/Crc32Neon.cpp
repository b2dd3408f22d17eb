// CRC-32/MPEG-2 with NEON and the 64-bit polynomial multiplication of ARMv8: 16 bytes at a time.
#include <arm_neon.h>

#include "checksum/Crc32Folding.h"

namespace nubrix {

namespace {

struct Crc32NeonLanes {
    using Vector = uint64x2_t;
    using OfPiece = Crc32NeonLanes;
    static constexpr std::size_t kPieces = 1;

    NUBRIX_KERNEL_INLINE Vector reversed(Vector bytes)
    {
        const Vector halves = vreinterpretq_u64_u8(vrev64q_u8(vreinterpretq_u8_u64(bytes)));
        return vextq_u64(halves, halves, 1);
    }
    NUBRIX_KERNEL_INLINE Vector withCrc(unsigned int crc)
    {
        return Vector{0, static_cast<std::uint64_t>(crc) << 32};
    }
    NUBRIX_KERNEL_INLINE Vector factors(Crc32Factors factors)
    {
        return Vector{factors.low, factors.high};
    }
    NUBRIX_KERNEL_INLINE Vector fold(Vector first, Vector factors, Vector next)
    {
        return product(vget_high_u64(first), vget_high_u64(factors)) ^
               product(vget_low_u64(first), vget_low_u64(factors)) ^ next;
    }

private:
    NUBRIX_KERNEL_INLINE Vector product(uint64x1_t a, uint64x1_t b)
    {
        return vreinterpretq_u64_p128(vmull_p64(vget_lane_p64(vreinterpret_p64_u64(a), 0),
                                                vget_lane_p64(vreinterpret_p64_u64(b), 0)));
    }
};

}  // namespace

void foldCrc32Neon(unsigned int crc, const unsigned char *data, std::size_t size,
                   unsigned char *folded)
{
    Crc32Folding<Crc32NeonLanes>::run(crc, data, size, folded);
}

}  // namespace nubrix
