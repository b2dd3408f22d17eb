#include "image/DepthKernel.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "image/DepthLanes.h"

namespace nubrix {

namespace {

static_assert(std::endian::native == std::endian::little, "pixels are put together as integers");

constexpr std::size_t kGroup = 4;  // depths are a word of 8 bytes, pixels one of 8 and one of 4

/// The lowest bit of each of four depths that is 0.
std::uint64_t zerosOf(const unsigned short *depths)
{
    constexpr std::uint64_t kOnes = 0x0001000100010001;
    std::uint64_t word;
    std::memcpy(&word, depths, sizeof(word));
    const std::uint64_t aboveZero = ((word & ~(kOnes << 15)) + 0x7fff * kOnes) | word;
    return ~(aboveZero >> 15) & kOnes;
}

/// Three pixels of 24 bits behind each other, as far as there is space.
std::uint64_t threeOf(std::uint64_t first, std::uint64_t second, std::uint64_t third)
{
    return first | second << 24 | third << 48;
}

void storeGroup(unsigned char *rgb, const unsigned short *depths, const unsigned char *levels)
{
    const auto shade = [&](std::size_t i) { return std::uint64_t{levels[depths[i]]} * 0x101; };
    const std::uint64_t zeros = zerosOf(depths);
    const auto hole = [zeros](int i) { return (zeros >> 16 * i & 1) * 0xffffff; };
    std::uint64_t first;
    std::uint32_t rest;
    std::memcpy(&first, rgb, sizeof(first));
    std::memcpy(&rest, rgb + sizeof(first), sizeof(rest));
    first = (first & threeOf(hole(0), hole(1), hole(2))) | threeOf(shade(0), shade(1), shade(2));
    rest = static_cast<std::uint32_t>((rest & (hole(2) >> 16 | hole(3) << 8)) | shade(3) << 8);
    std::memcpy(rgb, &first, sizeof(first));
    std::memcpy(rgb + sizeof(first), &rest, sizeof(rest));
}

void groupedColours(unsigned char *rgb, const unsigned short *depths, std::size_t pixels,
                    const unsigned char *levels)
{
    std::size_t i = 0;
    for (; i + kGroup <= pixels; i += kGroup)
        storeGroup(rgb + 3 * i, depths + i, levels);
    for (; i < pixels; ++i) {
        if (depths[i] != 0) {
            rgb[3 * i] = rgb[3 * i + 1] = levels[depths[i]];
            rgb[3 * i + 2] = 0;
        }
    }
}

struct PlainLanes {};

}  // namespace

const DepthKernel kDepthPlain = {&DepthShares<PlainLanes>::range, &DepthShares<PlainLanes>::shares,
                                 &groupedColours};

}  // namespace nubrix
