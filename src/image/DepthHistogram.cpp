#include "image/DepthHistogram.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace nubrix {

namespace {

constexpr std::size_t kMostPixels = (1U << 24) - 1;
constexpr std::size_t kPart = 4096;

/// A counter waits for the store to it before, so where neighbours are often equally far each of
/// four has a counter of its own. Where they are not, one table is read faster than four.
unsigned int tablesFor(const DepthView &depths)
{
    constexpr std::size_t kSamples = 1024;
    const std::size_t step = depths.count / kSamples + 1;
    std::size_t equal = 0;
    for (std::size_t i = 0; i + 1 < depths.count; i += step)
        equal += depths.values[i] == depths.values[i + 1] ? 1 : 0;
    return equal > kSamples / 16 ? 4 : 1;
}

/// Counts in bytes, few enough for the first-level cache in most frames; what they cannot hold is
/// carried to the histogram. All by value: a store to a byte may change whatever is behind a
/// pointer.
template <unsigned int kTables>
void countDepths(const DepthView depths, const DepthTables tables, float *const histogram)
{
    unsigned char *counters[4];
    for (unsigned int table = 0; table < 4; ++table)
        counters[table] = tables.first + table % kTables * tables.stride;
    const auto count = [=](std::size_t i, unsigned int table) {
        const std::size_t depth = depths.values[i];
        if (++counters[table][depth] == 0) [[unlikely]]
            histogram[depth] += 256.0F;
    };
    std::size_t i = 0;
    for (; i + 4 <= depths.count; i += 4) {
        count(i, 0);
        count(i + 1, 1);
        count(i + 2, 2);
        count(i + 3, 3);
    }
    for (; i < depths.count; ++i)
        count(i, 0);
}

}  // namespace

bool DepthHistogram::fill(float *histogram, int size, const DepthView &depths)
{
    if (size <= 0 || depths.count == 0 || depths.count > kMostPixels)
        return false;
    if (!allocate(std::min(static_cast<std::size_t>(size), kAllDepths), tablesFor(depths)))
        return false;
    histogram[0] = 0.0F;
    // In parts that are still in the first-level cache when they are read again.
    for (std::size_t first = 0; first < depths.count; first += kPart) {
        const DepthView part = {depths.values + first, std::min(kPart, depths.count - first)};
        const DepthRange range = m_kernel.range(part.values, part.count);
        if (range.largest >= static_cast<std::size_t>(size))
            return false;
        include(range, histogram);
        if (m_tables.count == 1)
            countDepths<1>(part, m_tables, histogram);
        else
            countDepths<4>(part, m_tables, histogram);
    }
    store(histogram, static_cast<std::size_t>(size), static_cast<int>(depths.count));
    return true;
}

void DepthHistogram::colour(RGB888Pixel *rgb, const DepthView &depths) const
{
    m_kernel.colours(&rgb->r, depths.values, depths.count, m_tables.first);
}

bool DepthHistogram::allocate(std::size_t depths, unsigned int tables)
{
    m_tables.count = tables;
    // Not a power of two: stores to the same place of two tables would wait for each other.
    constexpr std::size_t kLine = 64;
    static_assert(kLine > DepthTables::kSpare);
    m_tables.stride = depths / kLine * kLine + 2 * kLine;
    m_counters.reset(new (std::nothrow) unsigned char[tables * m_tables.stride]);
    m_tables.first = m_counters.get();
    if (!m_counters)
        return false;
    for (unsigned int table = 0; table < tables; ++table)
        m_tables.first[table * m_tables.stride] = 0;
    return true;
}

void DepthHistogram::include(const DepthRange &range, float *histogram)
{
    if (range.smallest > range.largest)
        return;
    if (m_range.smallest > m_range.largest) {
        clear(range.smallest, range.largest + 1, histogram);
        m_range = range;
        return;
    }
    if (range.smallest < m_range.smallest) {
        clear(range.smallest, m_range.smallest, histogram);
        m_range.smallest = range.smallest;
    }
    if (range.largest > m_range.largest) {
        clear(m_range.largest + 1, range.largest + 1, histogram);
        m_range.largest = range.largest;
    }
}

void DepthHistogram::clear(std::size_t begin, std::size_t end, float *histogram) const
{
    std::memset(histogram + begin, 0, (end - begin) * sizeof(float));
    for (unsigned int table = 0; table < m_tables.count; ++table) {
        unsigned char *const counters = m_tables.first + table * m_tables.stride;
        std::memset(counters + begin, 0, end - begin);
    }
}

void DepthHistogram::store(float *histogram, std::size_t size, int pixels)
{
    int counted = pixels - static_cast<int>(histogram[0]);
    for (unsigned int table = 0; table < m_tables.count; ++table)
        counted -= m_tables.first[table * m_tables.stride];
    histogram[0] = 0.0F;
    m_tables.first[0] = 0;
    if (counted != 0) {
        std::fill(histogram + 1, histogram + m_range.smallest, 256.0F);
        m_kernel.shares(histogram, m_tables, m_range, counted);
    }
    std::memset(histogram + m_range.largest + 1, 0, (size - m_range.largest - 1) * sizeof(float));
}

}  // namespace nubrix
