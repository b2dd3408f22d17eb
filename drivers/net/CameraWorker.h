// The thread that talks to one camera, so that nobody else waits for a silent one.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

namespace nubrix {

/// Runs tasks one after the other, in the order in which they came. Thread-safe.
class CameraWorker {
public:
    using Clock = std::chrono::steady_clock;

    /// Throws std::system_error when there is no thread to be had.
    explicit CameraWorker(std::string address);
    /// Runs what is left and waits for it.
    ~CameraWorker();
    CameraWorker(const CameraWorker &) = delete;
    CameraWorker &operator=(const CameraWorker &) = delete;

    /// The task outlives a caller who does not wait for it: it must own what it uses.
    template <class Task>
    std::future<std::invoke_result_t<Task>> submit(Task task)
    {
        using Result = std::invoke_result_t<Task>;
        auto work = std::make_shared<std::packaged_task<Result()>>(std::move(task));
        auto result = work->get_future();
        push([work] { (*work)(); });
        return result;
    }

    /// Waits until all tasks are done; false when they are not at `end`.
    bool finishBy(Clock::time_point end);
    /// When the task that runs began; now when none does.
    Clock::time_point runningSince();
    /// Keeps a worker, and so the camera that its last tasks let go, until it is done. Does not
    /// wait: what is left at the end of the process is never done.
    static void retire(std::unique_ptr<CameraWorker> worker);
    /// Waits until no retired worker has anything left to say to the camera at this address: it
    /// would take from whoever opens it next. False when that lasts until `end`.
    static bool awaitRetired(const std::string &address, Clock::time_point end);

private:
    using Task = std::function<void()>;
    struct Retired;

    static Retired &retired();

    void push(Task task);
    void run();
    bool isDone();

    const std::string m_address;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::deque<Task> m_tasks;  // these four under m_lock
    bool m_busy = false;
    Clock::time_point m_begun;  // of the task that runs
    bool m_ending = false;
    std::thread m_thread;  // last: it uses the others
};

}  // namespace nubrix
