// The threads of a driver, so that none of them outlives it.
#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace nubrix {

/// Owns threads from their start on. A callback may end the work of the very thread that calls it,
/// and what that work is for; it cannot join the thread, so the thread stays here until somebody
/// else joins it, at the latest when this goes. Thread-safe.
class DriverThreads {
    struct Member {
        explicit Member(const void *worksFor) : group(worksFor) {}

        const void *const group;
        std::thread thread;    // under m_lock until somebody joins it
        bool joining = false;  // under m_lock
        std::atomic<std::thread::id> runner{};
        std::atomic<bool> done{false};
    };

public:
    /// Null: no thread.
    using Handle = std::shared_ptr<Member>;

    DriverThreads() = default;
    DriverThreads(const DriverThreads &) = delete;
    DriverThreads &operator=(const DriverThreads &) = delete;
    ~DriverThreads() { joinAll(); }

    /// Starts a thread. `work` lets nothing out and owns what it uses, for others may be gone
    /// before it ends. `group` is what it works for. Throws std::system_error when there is no
    /// thread to be had, std::bad_alloc.
    template <class Work>
    Handle run(Work work, const void *group = nullptr)
    {
        joinDone();
        Handle member = std::make_shared<Member>(group);
        const std::lock_guard<std::mutex> lock(m_lock);
        m_members.push_back(member);
        try {
            member->thread = std::thread([member, work = std::move(work)]() mutable {
                member->runner = std::this_thread::get_id();
                work();
                member->runner = std::thread::id();  // another thread may get the same one
                member->done = true;
            });
        } catch (...) {
            m_members.pop_back();
            throw;
        }
        return member;
    }

    /// The caller is this thread.
    static bool isCaller(const Handle &thread)
    {
        return thread && thread->runner == std::this_thread::get_id();
    }

    /// Waits for the end of a thread; returns at once on that thread itself.
    void join(const Handle &thread)
    {
        joinIf([&](const Handle &each) { return each == thread && !isCaller(each); });
    }
    /// Waits for the threads of a group, but not for the caller.
    void joinGroup(const void *group)
    {
        joinIf([group](const Handle &each) { return each->group == group && !isCaller(each); });
    }
    /// Frees the threads whose work is over.
    void joinDone()
    {
        joinIf([](const Handle &each) { return each->done.load(); });
    }
    /// Waits for all. Not on one of them.
    void joinAll()
    {
        joinIf([](const Handle &) { return true; });
    }

private:
    template <class Condition>
    void joinIf(Condition isMeant)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        for (;;) {
            const auto meant = std::find_if(m_members.begin(), m_members.end(), isMeant);
            if (meant == m_members.end())
                return;
            const Handle member = *meant;
            if (std::exchange(member->joining, true)) {  // another thread joins it
                m_joined.wait(lock);
                continue;
            }
            lock.unlock();
            member->thread.join();
            lock.lock();
            m_members.remove(member);
            m_joined.notify_all();
        }
    }

    std::mutex m_lock;
    std::condition_variable m_joined;
    std::list<Handle> m_members;  // under m_lock
};

}  // namespace nubrix
