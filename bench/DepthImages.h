// Depth images of several kinds, as cameras give them: what is easy for one algorithm is hard for
// another.
#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

namespace nubrix::bench {

enum class DepthKind {
    kSmooth,     // a slope without noise or holes: neighbours are equal
    kNoisy,      // a tilted floor with a box: noise that grows with the distance, all 16 bits
    kScattered,  // the same with a tenth of its pixels scattered as holes
    kHalf,       // the same with half of its pixels as holes in large and small discs
    kRandom,     // no pixel foretells the next one; some lie beyond each limit
};

/// Which pixels of an image are holes: discs, until they cover half of it.
inline std::vector<bool> discs(int width, int height, std::mt19937 &random)
{
    const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<bool> covered(pixels);
    const auto below = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned int>(limit));
    };
    for (std::size_t count = 0; count < pixels / 2;) {
        const int centreX = below(width);
        const int centreY = below(height);
        const int radius = 4 + below(40);
        for (int y = std::max(0, centreY - radius); y < std::min(height, centreY + radius); ++y) {
            for (int x = std::max(0, centreX - radius); x < std::min(width, centreX + radius);
                 ++x) {
                const int far = (x - centreX) * (x - centreX) + (y - centreY) * (y - centreY);
                const auto pixel = static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                   static_cast<std::size_t>(x);
                if (far <= radius * radius && !covered[pixel]) {
                    covered[pixel] = true;
                    ++count;
                }
            }
        }
    }
    return covered;
}

/// A depth of the floor or of the box, with its noise.
inline int noisyDepth(int x, int y, int width, int height, std::mt19937 &random)
{
    const bool isBox = x > width / 3 && x < width / 2 && y > height / 3 && y < 2 * height / 3;
    const int depth = isBox ? 6000 : 400 + 65 * (1000 * (height - 1 - y) / height);
    const int noise = 1 + depth / 256 * (depth / 256) / 110;
    const auto offset = static_cast<int>(random() % static_cast<unsigned int>(2 * noise + 1));
    return std::clamp(depth + offset - noise, 1, 65535);
}

inline void fillWithDepths(unsigned short *depths, int width, int height, DepthKind kind)
{
    std::mt19937 random(1);
    const std::vector<bool> holes =
        kind == DepthKind::kHalf ? discs(width, height, random) : std::vector<bool>{};
    std::size_t pixel = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x, ++pixel) {
            int depth = 0;
            if (kind == DepthKind::kRandom)
                depth = static_cast<int>(random() % 65536);
            else if (kind == DepthKind::kSmooth)
                depth = 8000 + 16 * y + x / 8;
            else if (!(kind == DepthKind::kScattered && random() % 10 == 0) &&
                     !(kind == DepthKind::kHalf && holes[pixel]))
                depth = noisyDepth(x, y, width, height, random);
            depths[pixel] = static_cast<unsigned short>(depth);
        }
    }
}

}  // namespace nubrix::bench
