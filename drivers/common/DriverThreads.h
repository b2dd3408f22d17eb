// The threads of a driver, so that none of them outlives it, and the event that wakes one.
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace nubrix {

/// Owns threads from their start on. A callback may end the work of the thread that calls it, and
/// destroy what that work is for; it cannot join its own thread, so the thread stays here until
/// another thread joins it, at the latest in the destructor. Thread-safe.
class DriverThreads {
    struct Member {
        explicit Member(const void *worksFor) : group(worksFor) {}

        const void *const group;
        std::thread thread;    // under m_lock until it is joined
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

    /// Starts a thread. `work` throws nothing and owns what it uses, because other objects may be
    /// destroyed before it ends. `group` identifies what it works for. Throws std::system_error
    /// when the system has no thread left, std::bad_alloc.
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
                member->runner = std::thread::id();  // another thread may get the same id
                member->done = true;
            });
        } catch (...) {
            m_members.pop_back();
            throw;
        }
        return member;
    }

    /// Whether the caller is this thread.
    static bool isCaller(const Handle &thread)
    {
        return thread && thread->runner == std::this_thread::get_id();
    }

    /// Waits for the end of a thread; returns at once on that thread itself.
    void join(const Handle &thread)
    {
        joinIf([&](const Handle &each) { return each == thread && !isCaller(each); });
    }
    /// Waits for the threads of a group, except for the caller.
    void joinGroup(const void *group)
    {
        joinIf([group](const Handle &each) { return each->group == group && !isCaller(each); });
    }
    /// Joins the threads whose work has ended.
    void joinDone()
    {
        joinIf([](const Handle &each) { return each->done.load(); });
    }
    /// Waits for all threads. Must not be called on one of them.
    void joinAll()
    {
        joinIf([](const Handle &) { return true; });
    }

private:
    template <class Condition>
    void joinIf(Condition matches)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        for (;;) {
            const auto found = std::find_if(m_members.begin(), m_members.end(), matches);
            if (found == m_members.end())
                return;
            const Handle member = *found;
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

/// A descriptor that wakes a thread out of poll: readable from set until clear. Thread-safe.
class EventFd {
public:
    /// Throws std::system_error when there are no descriptors left.
    EventFd() : m_descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
        if (m_descriptor < 0)
            throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    EventFd(const EventFd &) = delete;
    EventFd &operator=(const EventFd &) = delete;
    ~EventFd() { ::close(m_descriptor); }

    void set() { ::eventfd_write(m_descriptor, 1); }
    void clear()
    {
        eventfd_t ignored = 0;
        ::eventfd_read(m_descriptor, &ignored);
    }
    int descriptor() const { return m_descriptor; }

private:
    const int m_descriptor;
};

}  // namespace nubrix
