// Counts the threads inside the context: operations enter, destroy shuts the gate and waits for
// them.
#pragma once

#include <atomic>
#include <condition_variable>
#include <thread>
#include <vector>

#include "base/Mutex.h"

namespace nubrix {

/// An operation enters or is refused. A thread that is inside may enter again, also while the gate
/// is shut. Thread-safe.
class Gate final {
public:
    Gate();
    Gate(const Gate &) = delete;
    Gate &operator=(const Gate &) = delete;

    /// One stay inside, from construction to destruction; false when the gate refused it.
    class Entry final {
    public:
        explicit Entry(Gate &gate) : m_gate(gate), m_inside(gate.enter()) {}
        ~Entry()
        {
            if (m_inside)
                m_gate.leave();
        }
        Entry(const Entry &) = delete;
        Entry &operator=(const Entry &) = delete;
        explicit operator bool() const { return m_inside; }

    private:
        Gate &m_gate;
        const bool m_inside;
    };

    /// Refuses every thread except this one, which is inside from now on, until open. One thread at
    /// a time.
    void shut();
    /// Waits until no other thread is inside. Any thread; may block.
    void waitForOthers();
    /// Admits all threads again; ends the stay that shut began.
    void open();

    bool isShut() const { return m_shut; }
    /// Whether this thread is inside.
    bool isInside();

private:
    struct Visitor {
        std::thread::id thread;
        int depth;
    };

    bool enter();
    void leave();
    std::vector<Visitor>::iterator self() NUBRIX_REQUIRES(m_mutex);
    void add() NUBRIX_REQUIRES(m_mutex);

    Mutex m_mutex;
    std::condition_variable m_left;
    std::atomic<bool> m_shut{false};  // written under m_mutex
    std::vector<Visitor> m_visitors NUBRIX_GUARDED_BY(m_mutex);
};

}  // namespace nubrix
