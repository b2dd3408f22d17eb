// The numbers that a camera gives its pictures.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

namespace nubrix::net {

/// Makes of them an index that grows by one for each picture that the camera has sent. Not
/// thread-safe.
class FrameNumbers {
public:
    /// Takes the number of the next picture that came, 0 when the packet that tells it may have got
    /// lost.
    /// Returns how many pictures have been left out before it.
    unsigned int take(std::uint64_t id)
    {
        if (!m_last) {
            m_index += std::exchange(m_hasTaken, true) ? 1 : 0;
            if (id != 0)
                m_last = id;
            return 0;
        }
        if (id == 0)
            id = *m_last == kIds ? 1 : *m_last + 1;
        const std::uint64_t step = id > *m_last ? id - *m_last : id + kIds - *m_last;
        m_last = id;
        const bool hasBegunAnew = step == 0 || step > kIds / 2;
        const auto taken = hasBegunAnew ? 1U : static_cast<unsigned int>(step);
        m_index += taken;
        return taken - 1;
    }
    /// Of the picture that was taken last.
    unsigned int index() const { return m_index; }

private:
    static constexpr std::uint64_t kIds = 0xffff;  // the protocol's run from 1 to this one

    std::optional<std::uint64_t> m_last;
    bool m_hasTaken = false;
    unsigned int m_index = 0;
};

}  // namespace nubrix::net
