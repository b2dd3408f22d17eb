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

#include "nubrix/client/detail/arrivals.h"
#include "nubrix/client/detail/call_gate.h"
#include "nubrix/client/detail/open_camera.h"
#include "nubrix/client/figures.h"
#include "nubrix/client/frame.h"
#include "nubrix/client/ledger.h"

namespace nubrix {
namespace client {

namespace detail {

/// An open stream: takes the frames from the library's callback. Thread-safe.
class StreamCore final : public PlugListener, public std::enable_shared_from_this<StreamCore> {
public:
    using Function = std::function<void(Frame)>;

    /// The library fills no frame again unless three are spare, and it needs the newest, the one
    /// that is being filled, and one that the application has in its hands.
    static constexpr std::size_t kMaxQueued = 5;

    StreamCore(std::shared_ptr<OpenCamera> camera, StreamType type, std::size_t queued)
        : m_camera(std::move(camera)),
          m_pool(m_camera->makePool(static_cast<unsigned int>(type))),
          m_type(type),
          m_maxQueued(queued)
    {
    }
    ~StreamCore() { close(); }
    StreamCore(const StreamCore &) = delete;
    StreamCore &operator=(const StreamCore &) = delete;

    void open()
    {
        m_camera->connection().add(*this);
        try {
            require("openStream", subject(), [this] {
                return m_camera->context().openStream(m_camera->handle(),
                                                      static_cast<unsigned int>(m_type), &m_handle,
                                                      &StreamCore::onFrame, this);
            });
        } catch (...) {
            m_camera->connection().remove(*this);
            throw;
        }
        const std::lock_guard<std::mutex> guard(m_lock);
        m_isOpen = true;
    }
    /// Afterwards no frame comes, and the function neither runs nor is called, but within the
    /// function: then that call is the last one.
    void close() noexcept
    {
        NubrixStreamLedger last = emptyLedger();
        if (m_isOpen)
            nubrixStreamLedger(m_handle, &last);
        bool wasOpen = false;
        {
            const std::lock_guard<std::mutex> guard(m_lock);
            m_ended = true;
            wasOpen = m_isOpen.exchange(false);
            if (wasOpen)
                m_lastLedger = last;
        }
        if (wasOpen)
            closeStream();
        m_gate->waitFor(m_gate->begun());  // the first to close it may be the function itself
    }

    /// The oldest frame of the queue, none without one.
    Frame tryTake()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return takeQueued();
    }
    /// Waits for a frame; none when the deadline has passed, the camera is gone or the stream ends.
    Frame take(Clock::time_point deadline)
    {
        std::unique_lock<std::mutex> guard(m_lock);
        m_changed.wait_until(guard, deadline, [this] { return m_count != 0 || isOver(); });
        return takeQueued();
    }
    /// When the oldest frame of the queue arrived, nothing without one.
    std::optional<Clock::time_point> waitingSince()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        if (m_count == 0)
            return std::nullopt;
        return m_queue[m_first].arrival;
    }
    bool isOver() const { return m_ended || !m_camera->connection().isAttached(); }
    bool hasEnded() const { return m_ended; }
    /// What the library knows of the camera: 0, or -9 or -10 when it is gone or does not answer.
    int cameraStatus()
    {
        NubrixStream *stream = m_handle;
        const int status = m_camera->context().waitForStreams(&stream, 1, nullptr, 0);
        return status == -9 || status == -10 ? status : 0;
    }

    /// Afterwards the one before does not run, but within that. Throws when the stream has ended.
    void setFunction(Function function)
    {
        auto shared = function ? std::make_shared<Function>(std::move(function)) : nullptr;
        if (!exchangeFunction(shared)) {
            fail("onFrame", -2, 0, "onFrame (" + subject() + "): the stream has ended; start anew");
        }
    }
    /// Throws what ended the stream, once.
    void rethrow()
    {
        std::exception_ptr problem;
        {
            const std::lock_guard<std::mutex> guard(m_lock);
            problem.swap(m_problem);
        }
        if (problem)
            std::rethrow_exception(problem);
    }

    StreamFigures figures()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        StreamFigures figures = m_figures;
        figures.queued = static_cast<int>(m_count);
        figures.held = std::max(0, m_pool->taken() - figures.queued);
        const auto known = std::min<std::uint64_t>(figures.frames, m_arrivals.size());
        if (known < 2)
            return figures;
        const Clock::time_point first = arrivalOf(figures.frames - known);
        const Clock::time_point last = arrivalOf(figures.frames - 1);
        const double intervals = static_cast<double>(known - 1);
        std::chrono::duration<double> time = last - first;
        const Clock::time_point now = Clock::now();
        if (std::chrono::duration<double>(now - last) > time / intervals)
            time = now - first;  // it has become slower, or has stopped
        if (time.count() > 0)
            figures.framesPerSecond = intervals / time.count();
        return figures;
    }
    /// The ledger, when the stream has ended as it was then.
    NubrixStreamLedger ledger()
    {
        NubrixStreamLedger now = emptyLedger();
        const int status = m_isOpen ? nubrixStreamLedger(m_handle, &now) : -13;
        const std::lock_guard<std::mutex> guard(m_lock);
        return m_isOpen && status == 0 ? now : m_lastLedger;
    }
    /// Time between two frames of the camera, 0 when it is not known.
    std::chrono::microseconds interval()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return m_interval.value();
    }
    OpenCamera::Holders holders() const
    {
        return m_camera->holders(static_cast<unsigned int>(m_type));
    }
    StreamType type() const { return m_type; }
    /// "depth of usb:1-2".
    std::string subject() const
    {
        return std::string(name(m_type)) + " of " + m_camera->connection().uri();
    }
    NubrixStream *handle() const { return m_handle; }

    void onUnplugged() noexcept override { wake(); }

private:
    struct Queued {
        Frame frame;
        Clock::time_point arrival;
    };

    void closeStream() noexcept
    {
        wake();
        m_camera->connection().remove(*this);
        m_camera->context().closeStream(m_handle);
        std::shared_ptr<Function> function;  // destroyed without the lock: it may hold a stream
        const std::lock_guard<std::mutex> guard(m_lock);
        clearQueue();
        m_function.swap(function);
    }
    /// False, and changes nothing, when a function comes after the end.
    bool exchangeFunction(std::shared_ptr<Function> &function)
    {
        std::uint64_t begun = 0;
        {
            const std::lock_guard<std::mutex> guard(m_lock);
            if (function && m_ended)
                return false;
            if (function) {  // a camera may wait for the frames of the queue
                m_figures.dropped += m_count;
                clearQueue();
            }
            m_function.swap(function);
            begun = m_gate->begun();
        }
        m_gate->waitFor(begun);
        return true;
    }
    static void onFrame(NubrixStream * /*handle*/, typedefNubrixFrame *record, void *user)
    {
        const CallbackMark mark;  // also for what is destroyed at the end of this
        auto *const core = static_cast<StreamCore *>(user);
        // Its own function may drop the last reference. Null when it is being destroyed.
        std::shared_ptr<StreamCore> self = core->weak_from_this().lock();
        if (!self) {
            core->m_pool->release(record);
            return;
        }
        const std::shared_ptr<CallGate> gate = self->m_gate;
        const bool called = self->arrive(record);
        self.reset();  // whoever waits for the call then has the last reference
        if (called)
            gate->end();
    }
    /// Whether the function was called.
    bool arrive(typedefNubrixFrame *record) noexcept
    {
        Frame frame;
        const std::shared_ptr<Function> function = admit(record, frame);
        if (function)
            call(*function, std::move(frame));
        else
            wakeReaders();
        return function != nullptr;
    }
    /// Counts a frame. Puts it into `frame` when there is a function for it, otherwise into the
    /// queue.
    std::shared_ptr<Function> admit(typedefNubrixFrame *record, Frame &frame)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        FrameSlot *const slot = m_ended ? nullptr : m_pool->take(record);
        if (!slot) {  // it has ended; there are as many slots as frames
            m_pool->release(record);
            return nullptr;
        }
        const Clock::time_point now = Clock::now();
        count(*record, now);
        if (m_function) {
            m_gate->begin();
            frame = Frame(slot);
            noteAge(*record, now);
        } else {
            put(Frame(slot), now);
        }
        return m_function;
    }
    void call(const Function &function, Frame frame) noexcept
    {
        std::exception_ptr problem;
        try {
            function(std::move(frame));
        } catch (...) {  // stop and next throw it; nothing may reach the library
            problem = asError();
        }
        if (!problem)
            return;
        {
            const std::lock_guard<std::mutex> guard(m_lock);
            m_problem = std::move(problem);  // the only reference: another thread destroys it
            m_function = nullptr;
            m_ended = true;
        }
        wake();
    }
    /// The exception that is being handled; as an Error when it is none.
    std::exception_ptr asError() const noexcept
    {
        try {
            throw;
        } catch (const Error &) {
            return std::current_exception();
        } catch (const std::exception &thrown) {
            return functionError(thrown.what());
        } catch (...) {
            return functionError("no std::exception");
        }
    }
    std::exception_ptr functionError(const char *what) const noexcept
    {
        try {
            return std::make_exception_ptr(Error("onFrame", -1, 0,
                                                 "onFrame (" + subject() +
                                                     "): the function threw: " + what +
                                                     "; catch it there, the stream has ended"));
        } catch (...) {  // out of memory
            return m_textlessProblem;
        }
    }
    void wakeReaders() noexcept
    {
        m_changed.notify_all();
        m_anyWaiters.notify();
    }
    /// For changes that were made without the lock.
    void wake() noexcept
    {
        {
            const std::lock_guard<std::mutex> guard(m_lock);  // nobody is about to wait
        }
        wakeReaders();
    }

    // What follows is called under m_lock.

    void count(const typedefNubrixFrame &record, Clock::time_point now)
    {
        const unsigned int index = record.frameIndex;
        const unsigned int step = index - m_lastIndex;
        if (m_figures.frames != 0 && step != 0 && step < 1U << 31)  // otherwise it began anew
            m_figures.missing += step - 1;
        m_lastIndex = index;
        m_interval.add(record);
        arrivalOf(m_figures.frames++) = now;
    }
    Clock::time_point &arrivalOf(std::uint64_t frame)
    {
        return m_arrivals[static_cast<std::size_t>(frame % m_arrivals.size())];
    }
    void noteAge(const typedefNubrixFrame &record, Clock::time_point now)
    {
        m_figures.age =
            std::chrono::duration_cast<std::chrono::microseconds>(now - captureTime(record));
    }
    void put(Frame frame, Clock::time_point now)
    {
        if (m_count == m_maxQueued) {
            pop();
            ++m_figures.dropped;
        }
        m_queue[(m_first + m_count++) % m_queue.size()] = {std::move(frame), now};
        m_pool->setQueued(m_count);
    }
    Frame pop()
    {
        Frame frame = std::move(m_queue[m_first].frame);
        m_first = (m_first + 1) % m_queue.size();
        m_pool->setQueued(--m_count);
        return frame;
    }
    Frame takeQueued()
    {
        if (m_count == 0)
            return {};
        Frame frame = pop();
        noteAge(*frame.m_slot->record, Clock::now());
        return frame;
    }
    void clearQueue()
    {
        while (m_count != 0)
            pop();
    }

    const std::shared_ptr<OpenCamera> m_camera;
    const std::shared_ptr<FramePool> m_pool;
    const StreamType m_type;
    const std::size_t m_maxQueued;
    const std::shared_ptr<CallGate> m_gate = std::make_shared<CallGate>();
    // Made here: a frame must not find too little memory for it.
    Arrivals &m_anyWaiters = Arrivals::instance();
    const std::exception_ptr m_textlessProblem = std::make_exception_ptr(
        Error("onFrame", -1, 0,
              "onFrame: the function threw, and there is too little memory for "
              "its text; release some, the stream has ended"));
    NubrixStream *m_handle = nullptr;  // fixed once open
    std::atomic<bool> m_ended{false};
    std::atomic<bool> m_isOpen{false};  // changed under m_lock

    std::mutex m_lock;  // guards what follows
    std::condition_variable m_changed;
    std::array<Queued, kMaxQueued> m_queue;
    std::size_t m_first = 0;
    std::size_t m_count = 0;
    std::shared_ptr<Function> m_function;
    std::exception_ptr m_problem;
    StreamFigures m_figures;
    unsigned int m_lastIndex = 0;
    FrameInterval m_interval;
    NubrixStreamLedger m_lastLedger = emptyLedger();  // of a stream that has ended
    std::array<Clock::time_point, 32> m_arrivals{};
};

}  // namespace detail
}  // namespace client
}  // namespace nubrix
