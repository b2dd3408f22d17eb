// The thread that accesses one camera, and the control channel through which it does.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "common/DriverThreads.h"
#include "net/Aravis.h"
#include "net/CameraMonitor.h"
#include "net/Gvcp.h"

namespace nubrix::net {

/// Accesses the registers of one camera. All accesses between two calls of beginCall share one
/// deadline, after which they fail at once. The camera identifies its controller by the socket, so
/// all writes use this one. Not thread-safe, except setLastDeadline.
class ControlChannel {
public:
    using Clock = std::chrono::steady_clock;

    enum class Outcome {
        kOk,
        kRefused,   ///< by the camera; see refusal()
        kNoAnswer,  ///< nothing was received for some time
        kLate,      ///< the camera answers, but the deadline has passed
        kInvalid,   ///< the answer does not fit the request
    };

    explicit ControlChannel(std::string address) : m_address(std::move(address)) {}

    /// Begins a call that must be done by a deadline. Once an access of a call is not answered, the
    /// later ones of the same call fail at once.
    void beginCall(Clock::time_point deadline);
    /// From this deadline on every access fails, whatever the deadline of its call; one that waits
    /// fails, too. Thread-safe.
    void setLastDeadline(Clock::time_point deadline)
    {
        m_lastDeadline = deadline.time_since_epoch().count();
    }

    Outcome readRegister(std::uint32_t address, std::uint32_t &value);
    Outcome writeRegister(std::uint32_t address, std::uint32_t value);
    /// Any number of bytes; `address` is a multiple of 4.
    Outcome readMemory(std::uint32_t address, std::uint8_t *bytes, std::size_t size);
    Outcome writeMemory(std::uint32_t address, const std::uint8_t *bytes, std::size_t size);
    /// The deadline of this call has passed.
    bool isLate() const { return Clock::now() >= m_deadline; }
    /// An access of this call was not answered.
    bool isUnresponsive() const { return m_isUnresponsive; }
    /// The camera has answered an access of this call.
    bool hasAnswered() const { return m_hasAnswered; }
    /// An access of this call was not answered, or not done by the deadline.
    bool hasFailed() const { return m_hasFailed; }
    /// The camera's code of the last refusal.
    std::uint16_t refusal() const { return m_refusal; }

    /// Becomes the controller.
    Outcome takeControl();
    /// Gives up the control if this channel has it.
    void releaseControl();
    /// Must be called every kHeartbeat: the camera releases the control of a controller that does
    /// not access it. False when the control is lost.
    bool keepControl();

    static constexpr std::chrono::milliseconds kHeartbeat{500};

private:
    Outcome request(std::uint16_t command, const std::vector<std::uint32_t> &words,
                    const Packet &bytes, Packet &content);
    std::optional<Outcome> outcomeAt(Clock::time_point now, Clock::time_point answerDue);
    bool connect();

    const std::string m_address;
    std::optional<UdpSocket> m_socket;  // from the first access on
    std::atomic<Clock::rep> m_lastDeadline{Clock::time_point::max().time_since_epoch().count()};
    Clock::time_point m_deadline;
    Clock::time_point m_lastKept;
    bool m_hasControl = false;
    bool m_isUnresponsive = false;  // these three: of the current call
    bool m_hasAnswered = false;
    bool m_hasFailed = false;
    std::uint16_t m_refusal = 0;
};

/// Runs tasks in the order of their submission, and keeps the control of the camera between them,
/// so that no other thread waits for an unresponsive camera. Shared with its thread, which
/// CameraWorkers starts. Thread-safe.
class CameraWorker {
    struct Task {
        std::function<void()> run;
        CameraState::Clock::time_point deadline;
    };

public:
    using Clock = CameraState::Clock;
    /// A task that can be submitted without memory.
    using Prepared = std::list<Task>;

    CameraWorker(const std::string &address, std::shared_ptr<CameraState> state)
        : m_state(std::move(state)), m_channel(address)
    {
    }
    CameraWorker(const CameraWorker &) = delete;
    CameraWorker &operator=(const CameraWorker &) = delete;

    /// The function must not throw and must own what it uses: its submitter may be destroyed before
    /// it runs.
    template <class Function>
    static Prepared prepare(Function function)
    {
        Prepared task;
        task.push_back({std::move(function), {}});
        return task;
    }
    /// All accesses of the task to the camera fail after the deadline.
    void submit(Clock::time_point deadline, Prepared task) noexcept;
    /// The same for a task that has a result or throws.
    template <class Function>
    std::future<std::invoke_result_t<Function>> submit(Clock::time_point deadline,
                                                       Function function)
    {
        using Result = std::invoke_result_t<Function>;
        auto work = std::make_shared<std::packaged_task<Result()>>(std::move(function));
        auto result = work->get_future();
        submit(deadline, prepare([work] { (*work)(); }));
        return result;
    }
    /// Makes the worker run its remaining tasks, release the camera and end. All accesses to the
    /// camera fail after the deadline. Nothing may be submitted afterwards.
    void retire(Clock::time_point deadline) noexcept;
    bool isRetired() const;
    /// Waits for a retired worker until shortly after its deadline; false when it still runs
    /// because a frame callback has not returned.
    bool awaitEnd();
    /// The function of its thread.
    void run();

    /// For use by tasks.
    ControlChannel &channel() { return m_channel; }
    /// For use by tasks: the connected camera, which this thread releases.
    void setCamera(ObjectPtr<ArvCamera> camera) { m_camera = std::move(camera); }
    /// For use by tasks: null until the camera is connected.
    ArvCamera *camera() const { return m_camera.get(); }

private:
    void runTasks();
    void keepControl();
    void updateState();
    void releaseCamera();

    const std::shared_ptr<CameraState> m_state;
    ControlChannel m_channel;  // of the thread, like m_camera, except its last deadline
    ObjectPtr<ArvCamera> m_camera;
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    std::list<Task> m_tasks;  // everything below is under m_lock
    bool m_isRetired = false;
    bool m_hasEnded = false;
    Clock::time_point m_deadline;  // of a retired worker
};

/// The workers of a driver, from their start until they are joined. Thread-safe.
class CameraWorkers {
public:
    CameraWorkers() = default;
    CameraWorkers(const CameraWorkers &) = delete;
    CameraWorkers &operator=(const CameraWorkers &) = delete;
    /// Joins all workers, which must be retired. Not from within a frame callback.
    ~CameraWorkers() = default;

    /// Throws std::system_error when no thread can be started, or std::bad_alloc.
    std::shared_ptr<CameraWorker> start(const std::string &address,
                                        std::shared_ptr<CameraState> state);
    /// Joins the retired workers that end by their deadlines, which run at the same time. A worker
    /// does not end while the frame callback that closed its camera has not returned.
    void joinFinished() noexcept;

private:
    struct Entry {
        std::uint64_t number;
        std::shared_ptr<CameraWorker> worker;
        DriverThreads::Handle thread;
    };

    Entry nextRetired(std::uint64_t after);
    void remove(std::uint64_t number);

    DriverThreads m_threads;
    std::mutex m_lock;
    std::uint64_t m_last = 0;    // both under m_lock
    std::list<Entry> m_entries;  // by number
};

}  // namespace nubrix::net
