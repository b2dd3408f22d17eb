// The thread that talks to one camera, so that nobody else waits for an unresponsive one.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>

#include "net/CameraState.h"
#include "net/ControlChannel.h"
#include "net/GLibPtr.h"

namespace nubrix::net {

/// Runs tasks one after the other, in the order in which they came, and keeps the control of the
/// camera between them. Shared with its thread, which CameraWorkers starts. Thread-safe.
class CameraWorker {
    struct Task {
        std::function<void()> run;
        CameraState::Clock::time_point end;
    };

public:
    using Clock = CameraState::Clock;
    /// A task that can be submitted when there is no memory left.
    using Prepared = std::list<Task>;

    CameraWorker(const std::string &address, std::shared_ptr<CameraState> state)
        : m_state(std::move(state)), m_channel(address)
    {
    }
    CameraWorker(const CameraWorker &) = delete;
    CameraWorker &operator=(const CameraWorker &) = delete;

    /// What is done for a task lets nothing out and owns what it uses, for others may be gone
    /// before it is done.
    template <class Function>
    static Prepared prepare(Function function)
    {
        Prepared task;
        task.push_back({std::move(function), {}});
        return task;
    }
    /// All that the task asks of the camera fails after `end`.
    void submit(Clock::time_point end, Prepared task) noexcept;
    /// The same for a task that has a result, or throws.
    template <class Function>
    std::future<std::invoke_result_t<Function>> submit(Clock::time_point end, Function function)
    {
        using Result = std::invoke_result_t<Function>;
        auto work = std::make_shared<std::packaged_task<Result()>>(std::move(function));
        auto result = work->get_future();
        submit(end, prepare([work] { (*work)(); }));
        return result;
    }
    /// Does what is left, releases the camera and ends. All that it asks of the camera fails after
    /// `end`. Nothing is submitted afterwards.
    void retire(Clock::time_point end) noexcept;
    bool isRetired() const;
    /// Waits for a retired one to end, until a moment after its end; false when a frame callback
    /// holds it up.
    bool awaitEnd();
    /// What its thread does.
    void run();

    /// For tasks.
    ControlChannel &channel() { return m_channel; }
    /// For tasks: a connected camera, released by this thread.
    void keepCamera(ObjectPtr<ArvCamera> camera) { m_camera = std::move(camera); }
    /// Null until it is connected; to be used by tasks.
    ArvCamera *camera() const { return m_camera.get(); }

private:
    void runTasks();
    void keepControl();
    void noteHealth();
    void releaseCamera();

    const std::shared_ptr<CameraState> m_state;
    ControlChannel m_channel;  // of the thread, but for its last end; as is the camera
    ObjectPtr<ArvCamera> m_camera;
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    std::list<Task> m_tasks;  // everything below is under m_lock
    bool m_isRetired = false;
    bool m_hasEnded = false;
    Clock::time_point m_end;  // of a retired one
};

}  // namespace nubrix::net
