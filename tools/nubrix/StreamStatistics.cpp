#include "StreamStatistics.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <ctime>

namespace nubrix::tool {

std::uint64_t monotonicUs()
{
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000 +
           static_cast<std::uint64_t>(now.tv_nsec) / 1000;
}

void StreamStatistics::add(const Arrival &arrival)
{
    if (m_figures.frames == 0)
        m_firstArrivalUs = arrival.arrivalUs;
    else
        compareIndex(arrival.frameIndex);
    m_lastArrivalUs = arrival.arrivalUs;
    m_figures.lastIndex = arrival.frameIndex;
    ++m_figures.frames;
    if (arrival.damaged)
        ++m_figures.damaged;
    m_ages.add(arrival.arrivalUs > arrival.captureUs ? arrival.arrivalUs - arrival.captureUs : 0);
}

StreamFigures StreamStatistics::figures() const
{
    StreamFigures figures = m_figures;
    if (m_lastArrivalUs > m_firstArrivalUs)
        figures.framesPerSecond = static_cast<double>(m_figures.frames - 1) * 1e6 /
                                  static_cast<double>(m_lastArrivalUs - m_firstArrivalUs);
    figures.ageMedianUs = m_ages.percentile(50);
    figures.age99PercentUs = m_ages.percentile(99);
    return figures;
}

void StreamStatistics::compareIndex(std::uint32_t index)
{
    // The index is a 32-bit counter that wraps to 0.
    const std::uint32_t step = index - m_figures.lastIndex;
    if (step == 1)
        return;
    ++m_figures.gaps;
    if (step != 0 && step < 0x80000000U)
        m_figures.lost += step - 1;
}

void AgeHistogram::add(std::uint64_t microseconds)
{
    ++m_buckets[bucketOf(std::min(microseconds, kLongest))];
    ++m_count;
}

std::uint64_t AgeHistogram::percentile(double percent) const
{
    const auto rank =
        static_cast<std::uint64_t>(std::ceil(percent / 100 * static_cast<double>(m_count)));
    std::uint64_t seen = 0;
    for (unsigned int bucket = 0; bucket < m_buckets.size(); ++bucket) {
        seen += m_buckets[bucket];
        if (seen != 0 && seen >= rank)
            return middleOf(bucket);
    }
    return 0;
}

unsigned int AgeHistogram::bucketOf(std::uint64_t microseconds)
{
    if (microseconds < kExact)
        return static_cast<unsigned int>(microseconds);
    const auto shift = static_cast<unsigned int>(std::bit_width(microseconds)) - 8;
    const auto top = static_cast<unsigned int>(microseconds >> shift);  // 128 to 255
    return kExact + (shift - 1) * kPerDoubling + top - kPerDoubling;
}

std::uint64_t AgeHistogram::middleOf(unsigned int bucket)
{
    if (bucket < kExact)
        return bucket;
    const unsigned int shift = (bucket - kExact) / kPerDoubling + 1;
    const std::uint64_t first = std::uint64_t{(bucket - kExact) % kPerDoubling + kPerDoubling}
                                << shift;
    return first + (std::uint64_t{1} << shift) / 2;
}

}  // namespace nubrix::tool
