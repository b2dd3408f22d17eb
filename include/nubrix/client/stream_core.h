// How frames come from the library to those who wait for them.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "nubrix/client/device.h"
#include "nubrix/client/frame.h"

namespace nubrix {
namespace client {

/// What a stream has done since its start.
struct StreamFigures {
    std::uint64_t frames = 0;    ///< that have arrived
    std::uint64_t dropped = 0;   ///< of them, those that nobody took before newer ones came
    std::uint64_t missing = 0;   ///< captured by the camera, as its indices tell, but never arrived
    double framesPerSecond = 0;  ///< since the first frame
    std::chrono::microseconds lastAge{0};  ///< of the last frame, from capture to arrival
    int held = 0;                          ///< frames that the application holds, of 10
};

namespace detail {

/// Wakes those who wait for one of several streams.
class Arrivals {
public:
    static Arrivals &instance()
    {
        static auto *const all = new Arrivals;  // never destroyed
        return *all;
    }
    void notify() noexcept
    {
        if (m_waiters == 0)  // and whoever begins to wait from now on sees the frame
            return;
        const std::lock_guard<std::mutex> guard(m_lock);
        ++m_count;
        m_changed.notify_all();
    }
    /// Whether `isReady` holds before the deadline; none: waits for ever.
    template <class Condition>
    bool waitFor(const std::optional<std::chrono::steady_clock::time_point> &deadline,
                 const Condition &isReady)
    {
        const Waiter waiter(m_waiters);
        std::unique_lock<std::mutex> guard(m_lock);
        for (;;) {
            const std::uint64_t seen = m_count;
            guard.unlock();
            if (isReady())
                return true;
            guard.lock();
            const auto changed = [&] { return m_count != seen; };
            if (!deadline)
                m_changed.wait(guard, changed);
            else if (!m_changed.wait_until(guard, *deadline, changed))
                return false;
        }
    }

private:
    struct Waiter {
        explicit Waiter(std::atomic<int> &waiters) : count(waiters) { ++count; }
        ~Waiter() { --count; }
        Waiter(const Waiter &) = delete;
        Waiter &operator=(const Waiter &) = delete;

        std::atomic<int> &count;
    };

    std::atomic<int> m_waiters{0};
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::uint64_t m_count = 0;
};

/// An open stream: takes the frames from the library's callback. Thread-safe.
class StreamCore final : public PlugListener, public std::enable_shared_from_this<StreamCore> {
public:
    using Deadline = std::optional<std::chrono::steady_clock::time_point>;
    using Function = std::function<void(Frame)>;

    StreamCore(std::shared_ptr<OpenCamera> camera, StreamType type, std::size_t queued)
        : m_camera(std::move(camera)),
          m_pool(std::make_shared<FramePool>(m_camera->library())),
          m_type(type),
          m_queued(std::max<std::size_t>(1, queued))
    {
    }
    ~StreamCore() { close(); }
    StreamCore(const StreamCore &) = delete;
    StreamCore &operator=(const StreamCore &) = delete;

    void open()
    {
        m_camera->add(*this);
        try {
            require("openStream", name(m_type), [this] {
                return m_camera->context().openStream(m_camera->handle(),
                                                      static_cast<unsigned int>(m_type), &m_handle,
                                                      &StreamCore::onFrame, this);
            });
        } catch (...) {
            m_camera->remove(*this);
            throw;
        }
        const std::lock_guard<std::mutex> guard(m_lock);
        m_isOpen = true;
    }
    /// Afterwards nothing is called and no frame comes. Within the function: it is not called
    /// again.
    void close() noexcept
    {
        {
            const std::lock_guard<std::mutex> guard(m_lock);
            m_ended = true;
            if (!std::exchange(m_isOpen, false))
                return;
        }
        wake();
        m_camera->remove(*this);
        m_camera->context().closeStream(m_handle);
        const std::lock_guard<std::mutex> guard(m_lock);
        clearQueue();
    }

    /// The oldest frame of the queue, none without one.
    Frame tryTake()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return takeQueued();
    }
    /// Waits for a frame; none when the deadline has passed, the camera is gone or the stream ends.
    Frame take(const Deadline &deadline)
    {
        std::unique_lock<std::mutex> guard(m_lock);
        const auto hasCome = [this] { return m_count != 0 || isOver(); };
        if (!deadline)
            m_changed.wait(guard, hasCome);
        else
            m_changed.wait_until(guard, *deadline, hasCome);
        return takeQueued();
    }
    bool hasFrame()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return m_count != 0;
    }
    bool isOver() const { return m_ended || !m_camera->isConnected(); }
    bool hasEnded() const { return m_ended; }

    void setFunction(Function function)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_function = function ? std::make_shared<Function>(std::move(function)) : nullptr;
    }
    std::exception_ptr takeProblem()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return std::exchange(m_problem, nullptr);
    }

    StreamFigures figures()
    {
        const int held = m_pool->held();
        const std::lock_guard<std::mutex> guard(m_lock);
        StreamFigures figures = m_figures;
        figures.held = held - static_cast<int>(m_count);
        const std::chrono::duration<double> time = m_lastArrival - m_firstArrival;
        if (figures.frames > 1 && time.count() > 0)
            figures.framesPerSecond = static_cast<double>(figures.frames - 1) / time.count();
        return figures;
    }
    StreamType type() const { return m_type; }
    const std::string &uri() const { return m_camera->uri(); }
    NubrixStream *handle() const { return m_handle; }

    void onUnplugged() noexcept override { wake(); }

private:
    static void onFrame(NubrixStream * /*handle*/, typedefNubrixFrame *record, void *user) noexcept
    {
        auto *const core = static_cast<StreamCore *>(user);
        FrameSlot *const slot = core->m_pool->take(record);
        if (!slot) {  // cannot be: there are as many slots as frames
            core->m_pool->release(record);
            return;
        }
        Frame frame(slot);
        // Its own function may drop the last reference. Null when it is being destroyed.
        if (const auto self = core->weak_from_this().lock())
            self->arrive(std::move(frame));
    }
    void arrive(Frame frame) noexcept
    {
        std::shared_ptr<Function> function;
        {
            const std::lock_guard<std::mutex> guard(m_lock);
            if (m_ended)
                return;
            count(frame);
            function = m_function;
            if (!function)
                put(std::move(frame));
        }
        if (function)
            call(*function, std::move(frame));
        else
            wake();
    }
    void call(const Function &function, Frame frame) noexcept
    {
        const CallbackMark mark;
        try {
            function(std::move(frame));
        } catch (...) {  // stop and next throw it; nothing may reach the library
            {
                const std::lock_guard<std::mutex> guard(m_lock);
                m_problem = std::current_exception();
                m_function = nullptr;
                m_ended = true;
            }
            wake();
        }
    }
    void wake() noexcept
    {
        {
            const std::lock_guard<std::mutex> guard(m_lock);  // nobody is about to wait
        }
        m_changed.notify_all();
        Arrivals::instance().notify();
    }

    // What follows is under m_lock.

    void count(const Frame &frame)
    {
        m_lastArrival = std::chrono::steady_clock::now();
        if (m_figures.frames++ == 0)
            m_firstArrival = m_lastArrival;
        else if (frame.index() - m_lastIndex < 1U << 31)  // an index that goes back began anew
            m_figures.missing += frame.index() - m_lastIndex - (frame.index() != m_lastIndex);
        m_lastIndex = frame.index();
        m_figures.lastAge =
            std::chrono::duration_cast<std::chrono::microseconds>(m_lastArrival - frame.time());
    }
    void put(Frame frame)
    {
        if (m_count == m_queued) {
            takeQueued();
            ++m_figures.dropped;
        }
        m_queue[(m_first + m_count++) % m_queue.size()] = std::move(frame);
    }
    Frame takeQueued()
    {
        if (m_count == 0)
            return {};
        --m_count;
        Frame frame = std::move(m_queue[m_first]);
        m_first = (m_first + 1) % m_queue.size();
        return frame;
    }
    void clearQueue()
    {
        while (m_count != 0)
            takeQueued();
        m_function = nullptr;
    }

    const std::shared_ptr<OpenCamera> m_camera;
    const std::shared_ptr<FramePool> m_pool;
    const StreamType m_type;
    const std::size_t m_queued;
    NubrixStream *m_handle = nullptr;
    std::atomic<bool> m_ended{false};

    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_isOpen = false;
    std::array<Frame, FramePool::kFrames> m_queue;
    std::size_t m_first = 0;
    std::size_t m_count = 0;
    std::shared_ptr<Function> m_function;
    std::exception_ptr m_problem;
    StreamFigures m_figures;
    unsigned int m_lastIndex = 0;
    std::chrono::steady_clock::time_point m_firstArrival;
    std::chrono::steady_clock::time_point m_lastArrival;
};

}  // namespace detail

}  // namespace client
}  // namespace nubrix
