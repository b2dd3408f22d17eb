// Percentiles of any number of durations in a fixed amount of memory.
#pragma once

#include <array>
#include <cstdint>

namespace nubrix {

/// Counts durations in buckets that are exact below 256 us and at most 1/128 wide above.
///
/// Not thread-safe.
class AgeHistogram {
public:
    /// Durations above 2^36 us (19 hours) count as that.
    void add(std::uint64_t microseconds);

    /// The least duration that at least `percent` of all durations do not exceed, within 0.4 %; 0
    /// when there are none.
    std::uint64_t percentile(double percent) const;

    std::uint64_t count() const { return m_count; }

private:
    static constexpr unsigned int kExact = 256;         // durations below have their own bucket
    static constexpr unsigned int kPerDoubling = 128;   // buckets from 2^n to 2^(n+1)
    static constexpr unsigned int kDoublings = 36 - 8;  // 2^8 to 2^36
    static constexpr std::uint64_t kLongest = (std::uint64_t{1} << 36) - 1;

    static unsigned int bucketOf(std::uint64_t microseconds);
    static std::uint64_t middleOf(unsigned int bucket);

    std::array<std::uint64_t, kExact + kDoublings *kPerDoubling> m_buckets = {};
    std::uint64_t m_count = 0;
};

}  // namespace nubrix
