// The thread that talks to one camera, so that nobody else waits for a silent one.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>

namespace nubrix {

/// Runs tasks one after the other, in the order in which they came. Thread-safe.
class CameraWorker {
public:
    /// Throws std::system_error when there is no thread to be had.
    CameraWorker();
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

    /// Waits until all tasks are done, but not when the one that runs has done so for longer than
    /// `patience`: false.
    bool finishWithin(std::chrono::milliseconds patience);
    /// Keeps a worker, and so the camera that its last tasks let go, until it is done. Does not
    /// wait: what is left at the end of the process is never done.
    static void retire(std::unique_ptr<CameraWorker> worker);

private:
    using Task = std::function<void()>;

    void push(Task task);
    void run();
    bool isDone();

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::deque<Task> m_tasks;  // these four under m_lock
    bool m_busy = false;
    std::chrono::steady_clock::time_point m_begun;  // of the task that runs
    bool m_ending = false;
    std::thread m_thread;  // last: it uses the others
};

}  // namespace nubrix
