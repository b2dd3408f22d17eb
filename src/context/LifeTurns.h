// Whose turn it is to initialize or to destroy the context.
#pragma once

#include <condition_variable>
#include <cstdint>

#include "base/Mutex.h"

namespace nubrix {

/// One initialize or destroy at a time, in the order of the calls. Thread-safe.
class LifeTurns final {
public:
    enum class Waiting { kForItsTurn, kNot };

    /// One call, from construction to destruction, which is its last use of the context.
    class Turn final {
    public:
        /// Waits until those that came before have ended, or is false when one has not.
        Turn(LifeTurns &turns, Waiting waiting);
        ~Turn();
        Turn(const Turn &) = delete;
        Turn &operator=(const Turn &) = delete;
        explicit operator bool() const { return m_mine; }

        /// Ends the turn, and waits until the calls have left that wait for theirs now: then the
        /// context may be deleted.
        void endAfterOthers();

    private:
        friend class LifeTurns;

        LifeTurns &m_turns;
        bool m_mine = false;
        // These are guarded by the lock of the turns.
        std::uint64_t m_number = 0;
        bool m_ended = false;
        Turn *m_next = nullptr;  // the call that came after
    };

    LifeTurns() = default;
    LifeTurns(const LifeTurns &) = delete;
    LifeTurns &operator=(const LifeTurns &) = delete;

    /// Waits until every call has left, also one whose turn has ended and that waits for others.
    void waitForAll();

private:
    const Turn *current() const NUBRIX_REQUIRES(m_mutex);
    void append(Turn &turn) NUBRIX_REQUIRES(m_mutex);
    void remove(const Turn &turn) NUBRIX_REQUIRES(m_mutex);

    Mutex m_mutex;
    std::condition_variable m_changed;
    Turn *m_first NUBRIX_GUARDED_BY(m_mutex) = nullptr;  // in the order of the calls
    std::uint64_t m_calls NUBRIX_GUARDED_BY(m_mutex) = 0;
};

}  // namespace nubrix
