// What is known of the state of a context that several threads initialize and destroy.
#pragma once

#include <mutex>
#include <utility>

namespace nubrix {

/// Follows the calls of initialize and destroy. Thread-safe.
class LifeState {
public:
    enum class State { kUnknown, kInitialized, kUninitialized };

    struct Snapshot {
        State state;
        unsigned long changes;
    };

    /// A call of initialize or destroy begins. The state before it.
    State begin()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        ++m_changes;
        m_overlapping = m_overlapping || m_underWay != 0;
        ++m_underWay;
        return std::exchange(m_state, State::kUnknown);
    }
    /// It has returned, and would leave the context in this state if it was alone. Whether it was.
    bool end(State state)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        ++m_changes;
        const bool alone = !m_overlapping;
        if (--m_underWay == 0) {
            m_state = alone ? state : State::kUnknown;
            m_overlapping = false;
        }
        return alone;
    }
    Snapshot now() const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return {m_state, m_changes};
    }
    /// The state from one moment to another; unknown when it may have changed.
    static State between(const Snapshot &first, const Snapshot &last)
    {
        return first.changes == last.changes ? first.state : State::kUnknown;
    }

private:
    mutable std::mutex m_mutex;  // guards everything below
    State m_state = State::kUninitialized;
    unsigned long m_changes = 0;
    int m_underWay = 0;
    bool m_overlapping = false;
};

}  // namespace nubrix
