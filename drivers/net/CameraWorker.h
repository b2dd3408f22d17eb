// The thread that talks to one camera, so that nobody else waits for an unresponsive one.
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

#include "net/CameraState.h"
#include "net/ControlChannel.h"

namespace nubrix {

/// Runs tasks one after the other, in the order in which they came, and keeps the control of the
/// camera between them. Thread-safe.
class CameraWorker {
public:
    using Clock = CameraState::Clock;

    /// Throws std::system_error when there is no thread to be had.
    CameraWorker(const std::string &address, std::shared_ptr<CameraState> state);
    /// Runs what is left and waits for it.
    ~CameraWorker();
    CameraWorker(const CameraWorker &) = delete;
    CameraWorker &operator=(const CameraWorker &) = delete;

    /// All that the task asks of the camera fails after `end`. The task outlives a caller who does
    /// not wait for it: it must own what it uses.
    template <class Task>
    std::future<std::invoke_result_t<Task>> submit(Clock::time_point end, Task task)
    {
        using Result = std::invoke_result_t<Task>;
        auto work = std::make_shared<std::packaged_task<Result()>>(std::move(task));
        auto result = work->get_future();
        push([this, end, work] {
            m_channel.begin(end);
            (*work)();
            noteHealth();
        });
        return result;
    }
    /// For tasks.
    ControlChannel &channel() { return m_channel; }

    /// Keeps a worker that has nothing new to do, until it is joined. What it asks of the camera
    /// fails after `end`. Does not wait.
    static void retire(std::unique_ptr<CameraWorker> worker, Clock::time_point end) noexcept;
    /// Joins the retired workers that are done by their ends. The others are those in whose frame
    /// callback their camera was closed, and that has not returned.
    static void joinFinished() noexcept;
    /// Joins all; not from within a frame callback.
    static void joinAll() noexcept;

private:
    using Task = std::function<void()>;
    struct Retired;

    static Retired &retired();

    void push(Task task);
    void run();
    bool finishBy(Clock::time_point end);
    bool isFinished();
    void keepControl();
    void noteHealth();

    const std::shared_ptr<CameraState> m_state;
    ControlChannel m_channel;  // of the thread, but for its interruption
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::deque<Task> m_tasks;  // these three under m_lock
    bool m_busy = false;
    bool m_ending = false;
    Clock::time_point m_end;               // of a retired one
    std::unique_ptr<CameraWorker> m_next;  // in the list of the retired, under its lock
    std::thread m_thread;                  // last: it uses the others
};

}  // namespace nubrix
