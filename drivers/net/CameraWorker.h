// The thread that accesses one camera, and the control channel that it uses.
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

/// All accesses between two calls of begin share one end: from then on they fail at once. The
/// camera knows its controller by the socket, so all writes go through this one. Not thread-safe,
/// but for endAt.
class ControlChannel {
public:
    using Clock = std::chrono::steady_clock;

    enum class Outcome {
        kFine,
        kRefused,  ///< by the camera; see refusal()
        kSilent,   ///< nothing was received for some time
        kLate,     ///< the camera answers, but the end has come
        kOdd,      ///< an answer that is none to what was asked
    };

    explicit ControlChannel(std::string address) : m_address(std::move(address)) {}

    /// Begins a call that must be done by then. Once a call has found the camera unresponsive, all
    /// of its accesses fail.
    void begin(Clock::time_point end);
    /// Every access fails from then on, whatever the end of its call, also one that waits.
    /// Thread-safe.
    void endAt(Clock::time_point end) { m_lastEnd = end.time_since_epoch().count(); }

    Outcome readRegister(std::uint32_t place, std::uint32_t &value);
    Outcome writeRegister(std::uint32_t place, std::uint32_t value);
    /// Any number of bytes; `place` is a multiple of 4.
    Outcome readMemory(std::uint32_t place, std::uint8_t *bytes, std::size_t size);
    Outcome writeMemory(std::uint32_t place, const std::uint8_t *bytes, std::size_t size);
    /// The end of this call has come.
    bool isLate() const { return Clock::now() >= m_end; }
    /// In this call nothing was received for some time.
    bool isSilent() const { return m_isSilent; }
    bool hasHeard() const { return m_hasHeard; }
    /// In this call something was not done because its end had come, or because of the silence.
    bool hasFailed() const { return m_hasFailed; }
    /// The camera's code of the refusal last.
    std::uint16_t refusal() const { return m_refusal; }

    /// Becomes the controller.
    Outcome takeControl();
    /// Gives up the control if this channel has it.
    void releaseControl();
    /// To be called every kBeat: the camera forgets a controller that it does not hear for longer.
    /// False when the control is lost.
    bool keepControl();

    static constexpr std::chrono::milliseconds kBeat{500};

private:
    Outcome ask(std::uint16_t command, const std::vector<std::uint32_t> &words, const Packet &bytes,
                Packet &content);
    std::optional<Outcome> outcomeAt(Clock::time_point now, Clock::time_point quiet);
    bool connect();

    const std::string m_address;
    std::optional<UdpSocket> m_socket;  // from the first access on
    std::atomic<Clock::rep> m_lastEnd{Clock::time_point::max().time_since_epoch().count()};
    Clock::time_point m_end;
    Clock::time_point m_lastKept;
    bool m_hasControl = false;
    bool m_isSilent = false;  // these three of this call
    bool m_hasHeard = false;
    bool m_hasFailed = false;
    std::uint16_t m_refusal = 0;
};

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

/// Thread-safe.
class CameraWorkers {
public:
    CameraWorkers() = default;
    CameraWorkers(const CameraWorkers &) = delete;
    CameraWorkers &operator=(const CameraWorkers &) = delete;
    /// Joins all, which have been retired; not from within a frame callback.
    ~CameraWorkers() = default;

    /// Throws std::system_error when there is no thread to be had, std::bad_alloc.
    std::shared_ptr<CameraWorker> start(const std::string &address,
                                        std::shared_ptr<CameraState> state);
    /// Joins the retired workers that are done by their ends, which pass at the same time. The
    /// others are those in whose frame callback their camera was closed, and that has not returned.
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
