// The public colouring of depth frames. The results are those of ImagePlain.h, to the bit. Depths
// are counted in integers; floats represent the counts exactly below 2^24.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "image/ImagePlain.h"

namespace nubrix {

namespace {

struct Depths {
    explicit Depths(const typedefNubrixFrame &frame)
        : values(static_cast<const unsigned short *>(frame.data))
    {
        if (frame.width > 0 && frame.height > 0)
            count = static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
    }

    const unsigned short *values;
    std::size_t count = 0;
};

/// The histogram of a frame whose depths are all below its size.
class DepthHistogram {
public:
    /// False: the frame is not like that, or too large, or memory is missing.
    bool count(const Depths &depths, int size)
    {
        constexpr std::size_t kMostPixels = (1U << 24) - 1;
        if (depths.count == 0 || depths.count > kMostPixels)
            return false;
        unsigned short largest = 0;
        for (std::size_t i = 0; i < depths.count; ++i)
            largest = std::max(largest, depths.values[i]);
        if (largest >= size)
            return false;
        m_depths = std::size_t{largest} + 1;
        m_counts.reset(new (std::nothrow) int[2 * m_depths]());
        if (!m_counts)
            return false;
        // Neighbours are often equally far: two counters of each depth need not wait for each
        // other.
        int *const even = m_counts.get();
        int *const odd = even + m_depths;
        for (std::size_t i = 0; i + 1 < depths.count; i += 2) {
            ++even[depths.values[i]];
            ++odd[depths.values[i + 1]];
        }
        if (depths.count % 2 != 0)
            ++even[depths.values[depths.count - 1]];
        m_counted = static_cast<int>(depths.count) - even[0] - odd[0];
        accumulate();
        return true;
    }

    void store(float *histogram, int size) const
    {
        const int *const nearer = m_counts.get();
        const auto counted = static_cast<float>(m_counted);
        for (std::size_t i = 1; i < m_depths; ++i)
            histogram[i] = (1.0F - static_cast<float>(nearer[i]) / counted) * 256.0F;
        histogram[0] = 0.0F;
        std::fill(histogram + m_depths, histogram + size, 0.0F);
    }

    /// The first two bytes of a pixel of each depth, after the counts are no longer needed.
    const int *levels(const float *histogram)
    {
        int *const levels = m_counts.get();
        for (std::size_t i = 0; i < m_depths; ++i)
            levels[i] = static_cast<int>(histogram[i]) * 0x101;
        return levels;
    }

private:
    void accumulate()
    {
        int *const even = m_counts.get();
        const int *const odd = even + m_depths;
        even[0] = 0;
        for (std::size_t i = 1; i < m_depths; ++i)
            even[i] += odd[i] + even[i - 1];
    }

    std::size_t m_depths = 0;
    int m_counted = 0;
    std::unique_ptr<int[]> m_counts;
};

static_assert(std::endian::native == std::endian::little, "pixels are put together as integers");

constexpr std::size_t kGroup = 4;  // depths are a word of 8 bytes, pixels one of 8 and one of 4

enum class Group { kEmpty, kFull, kMixed };

Group kindOf(const unsigned short *depths)
{
    constexpr std::uint64_t kOnes = 0x0001000100010001;
    std::uint64_t word;
    std::memcpy(&word, depths, sizeof(word));
    if (word == 0)
        return Group::kEmpty;
    const std::uint64_t zeros = (word - kOnes) & ~word & (kOnes << 15);
    return zeros == 0 ? Group::kFull : Group::kMixed;
}

void storeGroup(RGB888Pixel *rgb, const unsigned short *depths, const int *levels)
{
    const auto level = [&](std::size_t i) {
        return static_cast<std::uint64_t>(static_cast<std::uint32_t>(levels[depths[i]]));
    };
    const std::uint64_t first = level(0) | level(1) << 24 | level(2) << 48;
    const auto rest = static_cast<std::uint32_t>(level(3) << 8);
    auto *const bytes = reinterpret_cast<unsigned char *>(rgb);
    std::memcpy(bytes, &first, sizeof(first));
    std::memcpy(bytes + sizeof(first), &rest, sizeof(rest));
}

void storeColours(RGB888Pixel *rgb, const Depths &depths, const float *histogram, const int *levels)
{
    std::size_t i = 0;
    for (; i + kGroup <= depths.count; i += kGroup) {
        const Group kind = kindOf(depths.values + i);
        if (kind == Group::kFull)
            storeGroup(rgb + i, depths.values + i, levels);
        else if (kind == Group::kMixed)
            plainColours(rgb + i, depths.values + i, kGroup, histogram);
    }
    plainColours(rgb + i, depths.values + i, depths.count - i, histogram);
}

}  // namespace

}  // namespace nubrix

void calculateHistogram(float *histogram, int size, const typedefNubrixFrame &frame)
{
    if (!histogram || !frame.data)
        return;
    const nubrix::Depths depths(frame);
    nubrix::DepthHistogram counts;
    if (counts.count(depths, size))
        counts.store(histogram, size);
    else
        nubrix::plainHistogram(histogram, size, depths.values, depths.count);
}

void Depth2RGB888(RGB888Pixel *rgb, unsigned int *bytes, float *histogram, int size,
                  const typedefNubrixFrame &frame)
{
    if (!rgb || !bytes || !histogram || !frame.data)
        return;
    const nubrix::Depths depths(frame);
    nubrix::DepthHistogram counts;
    if (counts.count(depths, size)) {
        counts.store(histogram, size);
        nubrix::storeColours(rgb, depths, histogram, counts.levels(histogram));
    } else {
        nubrix::plainHistogram(histogram, size, depths.values, depths.count);
        nubrix::plainColours(rgb, depths.values, depths.count, histogram);
    }
    *bytes = static_cast<unsigned int>(depths.count * sizeof(*rgb));
}
