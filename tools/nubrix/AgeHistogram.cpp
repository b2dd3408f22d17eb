#include "AgeHistogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace nubrix {

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

}  // namespace nubrix
