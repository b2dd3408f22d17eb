// The histogram of a depth frame, counted in integers, and the colours that follow from it.
#pragma once

#include <cstddef>
#include <memory>

#include "image/DepthKernel.h"
#include "nubrix/image.h"

namespace nubrix {

struct DepthView {
    const unsigned short *values;
    std::size_t count;
};

/// Has the results of plainHistogram and plainColours, to the bit. Uses heap memory while it lives,
/// and nothing that another one uses.
class DepthHistogram {
public:
    explicit DepthHistogram(const DepthKernel &kernel) : m_kernel(kernel) {}

    /// False when there is no pixel, a depth is not below `size`, there are more pixels than floats
    /// can count, or memory is missing: use the plain formulas, which `histogram` is ready for.
    bool fill(float *histogram, int size, const DepthView &depths);
    /// Colours the depths that fill was called with and returned true for.
    void colour(RGB888Pixel *rgb, const DepthView &depths) const;

private:
    bool allocate(std::size_t depths, unsigned int tables);
    void include(const DepthRange &range, float *histogram);
    void clear(std::size_t begin, std::size_t end, float *histogram) const;
    void store(float *histogram, std::size_t size, int pixels);

    static constexpr std::size_t kAllDepths = 65536;

    const DepthKernel &m_kernel;
    std::unique_ptr<unsigned char[]> m_counters;
    DepthTables m_tables = {};
    DepthRange m_range = {kAllDepths, 0};  // of counters in use; all others are never touched
};

}  // namespace nubrix
