#include "image/DepthKernel.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "image/DepthLanes.h"

namespace nubrix {

namespace {

static_assert(std::endian::native == std::endian::little, "pixels are put together as integers");

constexpr std::size_t kGroup = 4;  // depths are a word of 8 bytes, pixels one of 8 and one of 4

/// The bytes of four pixels, of which those without a depth are all ones.
struct Holes {
    std::uint64_t first;
    std::uint32_t rest;
};

/// For all 16 sets of pixels without a depth.
constexpr std::array<Holes, 16> kHoles = [] {
    std::array<Holes, 16> holes = {};
    for (std::size_t set = 0; set < holes.size(); ++set) {
        const auto pixel = [set](unsigned int i) {
            return (std::uint64_t{set} >> i & 1) * 0xffffff;
        };
        holes[set].first = pixel(0) | pixel(1) << 24 | pixel(2) << 48;
        holes[set].rest = static_cast<std::uint32_t>(pixel(2) >> 16 | pixel(3) << 8);
    }
    return holes;
}();

const Holes &holesOf(const unsigned short *depths)
{
    constexpr std::uint64_t kOnes = 0x0001000100010001;
    std::uint64_t word;
    std::memcpy(&word, depths, sizeof(word));
    const std::uint64_t aboveZero = ((word & ~(kOnes << 15)) + 0x7fff * kOnes) | word;
    const std::uint64_t zeros = ~(aboveZero >> 15) & kOnes;
    // The four bits next to each other.
    return kHoles[static_cast<std::size_t>(zeros * 0x0001000200040008 >> 48 & 15)];
}

void storeGroup(unsigned char *rgb, const unsigned short *depths, const unsigned char *levels)
{
    const auto level = [&](std::size_t i) { return std::uint64_t{levels[depths[i]]}; };
    const Holes &holes = holesOf(depths);
    std::uint64_t first;
    std::uint32_t rest;
    std::memcpy(&first, rgb, sizeof(first));
    std::memcpy(&rest, rgb + sizeof(first), sizeof(rest));
    first = (first & holes.first) | (level(0) | level(1) << 24 | level(2) << 48) * 0x101;
    rest = (rest & holes.rest) | static_cast<std::uint32_t>(level(3) * 0x10100);
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

struct Plain {};

}  // namespace

const DepthKernel kDepthPlain = {&DepthShares<Plain>::range, &DepthShares<Plain>::shares,
                                 &groupedColours};

const DepthKernel &depthKernelOf(InstructionSet set)
{
    switch (set) {
#ifdef __x86_64__
        case InstructionSet::kSse41:
        case InstructionSet::kAvx2:
        case InstructionSet::kAvx512:
        case InstructionSet::kAvx512Vbmi:
            return kDepthSse41;
#endif
#ifdef __arm__
        case InstructionSet::kNeon:
            return kDepthNeon;
#endif
        default:
            return kDepthPlain;
    }
}

}  // namespace nubrix
