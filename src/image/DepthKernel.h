// The parts of the colouring of depth frames that depend on the instruction set.
#pragma once

#include <cstddef>

namespace nubrix {

/// The smallest depth but 0, and the largest. Without any depth, smallest is above largest.
struct DepthRange {
    std::size_t smallest, largest;
};

/// How often each depth occurs, counted in bytes: `count` tables of `stride` counters lie behind
/// each other, and the sum of all tables counts. A counter that reached 256 began anew.
struct DepthTables {
    unsigned char *first;
    std::size_t stride;
    unsigned int count;
};

struct DepthKernel {
    DepthRange (*range)(const unsigned short *depths, std::size_t pixels);

    /// For every depth of the range: `histogram` holds what its counters carried. Replaces it by
    /// the share of `counted` pixels that are farther, times 256, and the depth's counter in the
    /// first table by that share as a whole number.
    void (*shares)(float *histogram, const DepthTables &tables, const DepthRange &range,
                   int counted);

    /// Writes (level, level, 0) with the level of each pixel's depth. Pixels with a depth of 0 stay
    /// as they are; levels[0] must be 0. Reads up to 3 bytes behind a level, writes no byte outside
    /// of the pixels.
    void (*colours)(unsigned char *rgb, const unsigned short *depths, std::size_t pixels,
                    const unsigned char *levels);
};

/// In words of 64 bits.
extern const DepthKernel kDepthPlain;

}  // namespace nubrix
