// When the pictures in flight began to come.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace nubrix::net {

/// Aravis tells the beginning of a picture by the wall clock, which may be set at any time. The
/// monotonic time of it is that of the beginning that was noted next to it. Not thread-safe.
class Arrivals {
public:
    /// A picture begins to come; both in microseconds.
    void note(std::int64_t wallUs, std::int64_t monotonicUs)
    {
        m_begun[m_next++ % m_begun.size()] = {wallUs, monotonicUs};
    }
    /// Monotonic; 0 when nothing has been noted.
    std::int64_t of(std::int64_t wallUs) const
    {
        const Begun *nearest = m_begun.data();
        for (const Begun &begun : m_begun) {
            if (std::llabs(begun.wallUs - wallUs) < std::llabs(nearest->wallUs - wallUs))
                nearest = &begun;
        }
        return nearest->monotonicUs;
    }

private:
    struct Begun {
        std::int64_t wallUs;
        std::int64_t monotonicUs;
    };

    std::array<Begun, 16> m_begun = {};
    std::size_t m_next = 0;
};

}  // namespace nubrix::net
