// What the workers of a soak run share: the library, what they have done, and what went wrong.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "nubrix/client.h"
#include "tests/soak/Ledgers.h"
#include "tests/soak/RestPoint.h"
#include "tests/soak/SoakPlan.h"

namespace nubrix::soak {

/// Longer than any camera of the scenario pauses, on a machine that is busy.
inline constexpr std::chrono::seconds kFrameTimeout{60};

/// What has happened so far.
struct Counters {
    std::atomic<std::uint64_t> frames{0};      // that came to the application
    std::atomic<std::uint64_t> faulty{0};      // of them: short or empty, as the scenario has it
    std::atomic<std::uint64_t> recorded{0};    // frames in files that were read again
    std::atomic<std::uint64_t> opened{0};      // streams
    std::atomic<std::uint64_t> unplugged{0};   // cameras that left while they were used
    std::atomic<std::uint64_t> recordings{0};  // complete files
    std::atomic<std::uint64_t> fullDisks{0};   // files that a full disk cut
    std::atomic<std::uint64_t> photos{0};
    std::atomic<std::uint64_t> clouds{0};
    std::atomic<std::uint64_t> killed{0};  // network cameras
};

/// Thread-safe.
class World {
public:
    /// `path` is a folder with "disk", a small file system of its own. `restingThreads` as of
    /// RestPoint.
    World(const std::string &path, int restingThreads);
    World(const World &) = delete;
    World &operator=(const World &) = delete;

    const client::Session session;
    const SoakImages images;
    const std::string folder;
    const std::string disk;  // within the folder, small
    RestPoint rest;
    Counters counters;
    Ledgers ledgers;

    /// Counts a frame of a virtual camera and compares its pixels with what the camera shows.
    void receive(const client::Frame &frame) { receive(frame.record()); }
    void receive(const typedefNubrixFrame &frame);

    /// How often the camera has arrived or left.
    unsigned int plugChanges(const std::string &uri) const;
    /// Waits until it has arrived or left more often than that; false after the timeout.
    bool awaitPlugChange(const std::string &uri, unsigned int since,
                         std::chrono::milliseconds timeout) const;
    bool isAttached(const std::string &uri) const;
    /// Whether an error comes from the camera's arriving or leaving since then: the notification of
    /// one that says that the camera is gone may come much later, of another one soon.
    bool isCausedByPlug(const std::string &uri, unsigned int since,
                        const std::exception &error) const;

    /// Reports something that must not happen; the run goes on and fails.
    void defect(const std::string &text);
    unsigned int defects() const { return m_defects; }

private:
    struct Plug {
        unsigned int changes = 0;
        bool attached = true;
    };

    mutable std::mutex m_lock;  // guards what follows
    mutable std::condition_variable m_plugged;
    std::map<std::string, Plug> m_plugs;
    std::atomic<unsigned int> m_defects{0};
    const client::Subscription m_subscription;  // last: it uses the others
};

/// Counts an open stream in the ledgers when its use ends; made after the stream, and so destroyed
/// before it.
class Booking {
public:
    Booking(World &world, NubrixStream *stream) : m_world(world), m_stream(stream)
    {
        ++world.counters.opened;
    }
    ~Booking()
    {
        const std::string problem = m_world.ledgers.close(m_stream);
        if (!problem.empty())
            m_world.defect("a ledger: " + problem);
    }
    Booking(const Booking &) = delete;
    Booking &operator=(const Booking &) = delete;

private:
    World &m_world;
    NubrixStream *const m_stream;
};

}  // namespace nubrix::soak
