// How a thread ends that destroys its own owner: the callback that it runs may stop, destroy or
// close whatever the thread belongs to. Nobody can join himself, and a plug-in whose thread is
// detached cannot be unloaded: so the owner is kept, and joined by whoever tears down next.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace nubrix {

/// Has one thread at a time. The destructor of what is derived from it joins the thread.
class ThreadOwner {
public:
    ThreadOwner() = default;
    ThreadOwner(const ThreadOwner &) = delete;
    ThreadOwner &operator=(const ThreadOwner &) = delete;
    virtual ~ThreadOwner() = default;

    /// The caller is the thread. Thread-safe.
    bool isOwnThread() const { return m_runner == std::this_thread::get_id(); }

protected:
    /// Begins a thread that calls `run`, which throws nothing. Throws std::system_error when there
    /// is none to be had. The one before has been joined.
    template <class Function>
    void beginThread(Function run)
    {
        const std::lock_guard<std::mutex> lock(m_beginning);
        m_ended = false;
        m_thread = std::thread([this, run] {
            {
                const std::lock_guard<std::mutex> begun(m_beginning);
            }
            run();
            m_ended = true;
        });
        m_runner = m_thread.get_id();
    }
    /// Waits for the thread to end, if there is one. On any thread but this one.
    void joinThread()
    {
        if (m_thread.joinable())
            m_thread.join();
        m_runner = std::thread::id();
    }
    /// It has begun and has not been joined. On any thread but this one.
    bool hasThread() const { return m_thread.joinable(); }

private:
    friend class RetiredThreads;

    std::mutex m_beginning;  // held until the members below are those of the thread
    std::thread m_thread;
    std::atomic<std::thread::id> m_runner{};
    std::atomic<bool> m_ended{false};
    std::unique_ptr<ThreadOwner> m_next;  // these two: of the list of those that are retired
    const void *m_group = nullptr;
};

/// Owners of threads that are about to end. A driver has one and destroys it after its devices.
/// Thread-safe.
class RetiredThreads {
public:
    RetiredThreads() = default;
    RetiredThreads(const RetiredThreads &) = delete;
    RetiredThreads &operator=(const RetiredThreads &) = delete;
    /// Joins all. Not on one of them: its code is about to be unloaded.
    ~RetiredThreads()
    {
        joinThose([](const ThreadOwner &) { return true; });
    }

    /// Keeps an owner, whose own thread asks for it, until it is joined. `group` is what it was a
    /// part of. Joins those that have ended.
    void add(std::unique_ptr<ThreadOwner> owner, const void *group) noexcept
    {
        joinThose([](const ThreadOwner &each) { return each.m_ended.load(); });
        const std::lock_guard<std::mutex> lock(m_lock);
        owner->m_group = group;
        owner->m_next = std::move(m_first);
        m_first = std::move(owner);
    }
    /// Joins those of a group, and so waits for the callbacks that they run; but not the caller.
    void join(const void *group) noexcept
    {
        joinThose([group](const ThreadOwner &each) { return each.m_group == group; });
    }

private:
    template <class Choose>
    void joinThose(Choose choose) noexcept
    {
        auto chosen = take(choose);
        while (chosen) {  // without the lock: what they run may come here
            chosen->joinThread();
            chosen = std::move(chosen->m_next);
        }
    }
    template <class Choose>
    std::unique_ptr<ThreadOwner> take(Choose choose)
    {
        std::unique_ptr<ThreadOwner> taken;
        const std::lock_guard<std::mutex> lock(m_lock);
        for (auto *place = &m_first; *place;) {
            if (!choose(**place) || (*place)->isOwnThread()) {
                place = &(*place)->m_next;
                continue;
            }
            auto owner = std::move(*place);
            *place = std::move(owner->m_next);
            owner->m_next = std::move(taken);
            taken = std::move(owner);
        }
        return taken;
    }

    std::mutex m_lock;
    std::unique_ptr<ThreadOwner> m_first;  // under m_lock
};

/// Destroys a stream, or stops and retires it when its own thread asks for that: the stream's
/// `stop` then returns without a wait, and its thread uses nothing but the stream any more.
class StreamDeleter {
public:
    StreamDeleter() = default;
    /// `group` is the stream's device.
    StreamDeleter(RetiredThreads &retired, const void *group) : m_retired(&retired), m_group(group)
    {
    }
    template <class Stream>
    void operator()(Stream *stream) const noexcept
    {
        std::unique_ptr<Stream> owned(stream);
        if (!owned->isOwnThread())
            return;
        owned->stop();
        m_retired->add(std::move(owned), m_group);
    }

private:
    RetiredThreads *m_retired = nullptr;
    const void *m_group = nullptr;
};

}  // namespace nubrix
