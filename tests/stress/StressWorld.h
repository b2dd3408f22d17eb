// What the threads of the stress test share: the context, the handles, and what went wrong.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/Random.h"
#include "tests/stress/LifeState.h"
#include "tests/stress/StallWatch.h"
#include "tests/stress/VirtualLibrary.h"

namespace nubrix::stress {

/// Where a call comes from.
enum class Origin { kThread, kFrame, kState, kUpgrade };

/// Lets callers in until it is closed; closing waits for those inside. Thread-safe.
class Door {
public:
    void enter()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_closed; });
        ++m_inside;
    }
    bool tryEnter()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_inside += m_closed ? 0 : 1;
        return !m_closed;
    }
    void leave()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        --m_inside;
        m_changed.notify_all();
    }
    void close()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_closed = true;
        m_changed.wait(lock, [this] { return m_inside == 0; });
    }
    void open()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_closed = false;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_closed = false;
    int m_inside = 0;
};

class World;

/// One registration of a frame callback.
struct Receiver {
    World *world;
    NubrixDevice *device;           // whose stream it was opened with, null if not known
    std::atomic<bool> gone{false};  // its stream was closed, so it may not be called again
};

struct StreamEntry {
    NubrixStream *handle;
    Receiver *receiver;  // null without one
};

/// The handles of one kind: those that should be valid, and some that were. Thread-safe.
template <class Entry>
class HandlePool {
public:
    void add(const Entry &entry)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_live.push_back(entry);
    }
    /// A live one most of the time, else a stale one; `foreign` when there is none of that kind.
    Entry pick(Random &random, const Entry &foreign)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        const std::deque<Entry> &from = random.chance(80) ? m_live : m_stale;
        return from.empty() ? foreign : from[random.below(from.size())];
    }
    std::size_t live()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_live.size();
    }
    std::vector<Entry> all()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return {m_live.begin(), m_live.end()};
    }
    template <class Matches>
    void retire(Matches matches)
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        for (std::size_t i = m_live.size(); i-- != 0;) {
            if (!matches(m_live[i]))
                continue;
            m_stale.push_back(m_live[i]);
            m_live.erase(m_live.begin() + static_cast<std::ptrdiff_t>(i));
        }
        while (m_stale.size() > kStale)
            m_stale.pop_front();
    }

private:
    static constexpr std::size_t kStale = 12;

    std::mutex m_mutex;
    std::deque<Entry> m_live;
    std::deque<Entry> m_stale;
};

/// Thread-safe, but for the members that are fixed before the threads begin.
class World {
public:
    World(const VirtualLibrary &loaded, std::uint64_t seedOfRun, StallWatch &stallWatch);

    // --- fixed
    const VirtualLibrary &library;
    const std::uint64_t seed;
    StallWatch &watch;
    std::string firmware;
    std::vector<std::string> uris;

    // --- the context
    std::atomic<NubrixBaseContext *> context;
    /// Ordinary threads call the context inside; it is deleted while this is closed.
    Door contextDoor;
    /// initialize is called inside; closed while the context must stay uninitialized.
    Door initializeDoor;
    LifeState life;
    std::atomic<bool> quiet{false};  // destroy has returned, and nobody may initialize
    std::atomic<bool> stopping{false};

    // --- handles
    HandlePool<NubrixDevice *> devices;
    HandlePool<StreamEntry> streams;
    HandlePool<NubrixRecord *> recorders;
    void retireAllHandles();
    /// Never destroyed before the world: a callback that comes too late must be seen.
    Receiver *newReceiver(NubrixDevice *device);

    // --- frames that the application holds
    bool holdFrame(typedefNubrixFrame *frame);  // false: it holds enough already
    void takeBackFrame(typedefNubrixFrame *frame);
    typedefNubrixFrame *takeFrame(Random &random);  // null when it holds none

    /// Whether this is switched on: none of "operation", "origin" and "origin.operation" stands in
    /// NUBRIX_STRESS_WITHOUT.
    bool isOn(Origin origin, const std::string &operation) const;
    bool isOn(const std::string &word) const { return !m_without.contains(word); }

    /// Asks for the ledger of a stream, which must account for every frame. Returns the status.
    int checkLedger(NubrixStream *stream);
    void violation(const std::string &text);
    std::vector<std::string> violations() const;
    void countCall(const char *operation, Origin origin, int status);
    /// "origin.operation: status x times, ..." of all calls so far.
    std::string statistics() const;

    std::uint64_t nextSeed() { return seed * 1000003 + m_nextSeed++; }

private:
    static constexpr std::size_t kHeldFrames = 6;

    std::set<std::string> m_without;
    std::atomic<std::uint64_t> m_nextSeed{0};
    mutable std::mutex m_mutex;  // guards everything below
    std::deque<Receiver> m_receivers;
    std::vector<typedefNubrixFrame *> m_frames;
    std::vector<std::string> m_violations;
    std::map<std::string, std::map<int, unsigned long>> m_calls;
};

const char *nameOf(Origin origin);

}  // namespace nubrix::stress
