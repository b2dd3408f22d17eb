// Depth images and the clouds made of them, for tests that compare bits.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "cloud/PointCloud.h"

namespace nubrix {

struct DepthImage {
    unsigned int width;
    unsigned int height;
    std::vector<unsigned short> pixels;
};

/// All 65,536 values.
inline DepthImage everyRawValue()
{
    DepthImage image = {256, 256, std::vector<unsigned short>(65536)};
    for (std::size_t i = 0; i < image.pixels.size(); ++i)
        image.pixels[i] = static_cast<unsigned short>(i);
    return image;
}

/// Any values, one in eight of them 0 or near the end, where the limits are.
inline DepthImage randomImage(unsigned int width, unsigned int height, unsigned int seed)
{
    std::mt19937 random(seed);
    DepthImage image = {width, height, std::vector<unsigned short>(std::size_t{width} * height)};
    for (unsigned short &pixel : image.pixels) {
        pixel = static_cast<unsigned short>(random());
        if (random() % 8 == 0)
            pixel = random() % 2 ? 0 : static_cast<unsigned short>(65535 - random() % 32);
    }
    return image;
}

/// Points and colours, with margins before and after that nothing may write to. `shift` moves them
/// by floats, so that they lie at other multiples of 64 bytes.
class CloudBuffers {
public:
    explicit CloudBuffers(std::size_t pixels, std::size_t shift = 0)
        : m_shift(shift),
          m_points(3 * pixels + 2 * kMargin + shift, kUntouched),
          m_colours(4 * pixels + 2 * kMargin + shift, kUntouched)
    {
    }

    typedefNubrixPoint3D *points()
    {
        return reinterpret_cast<typedefNubrixPoint3D *>(&m_points[kMargin + m_shift]);
    }
    typedefNubrixRGBA *colours()
    {
        return reinterpret_cast<typedefNubrixRGBA *>(&m_colours[kMargin + m_shift]);
    }

    /// What differs first, bit for bit; empty when nothing does.
    std::string differenceFrom(const CloudBuffers &other) const
    {
        const std::string points = difference("point", 3, m_points, other.m_points);
        return points.empty() ? difference("colour", 4, m_colours, other.m_colours) : points;
    }

private:
    static constexpr std::size_t kMargin = 48;  // floats
    static constexpr float kUntouched = -123.25F;

    std::string difference(const char *what, std::size_t size, const std::vector<float> &ours,
                           const std::vector<float> &theirs) const
    {
        if (ours.size() != theirs.size())
            return "sizes differ";
        for (std::size_t i = 0; i < ours.size(); ++i) {
            if (std::memcmp(&ours[i], &theirs[i], sizeof(float)) != 0) {
                const auto place = static_cast<std::ptrdiff_t>(i - kMargin - m_shift);
                return std::string(what) + " " +
                       std::to_string(place / static_cast<std::ptrdiff_t>(size)) + ", float " +
                       std::to_string(place) + ": " + testing::PrintToString(ours[i]) + " for " +
                       testing::PrintToString(theirs[i]);
            }
        }
        return {};
    }

    std::size_t m_shift;
    std::vector<float> m_points;
    std::vector<float> m_colours;
};

}  // namespace nubrix
