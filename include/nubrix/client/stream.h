// The frames of a camera as they come.
#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "nubrix/client/frame.h"
#include "nubrix/client/stream_core.h"

namespace nubrix {
namespace client {

/// A running stream. It stops when this is destroyed; frames that it gave stay valid. Any thread
/// may call it; threads that wait for different streams do not wait for each other.
///
///     for (const Frame &frame : stream)  // until the camera is gone or stop is called
///         use(frame);
class Stream {
public:
    using Milliseconds = std::chrono::milliseconds;

    Stream(Stream &&) noexcept = default;
    Stream &operator=(Stream &&) noexcept = default;
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;
    ~Stream()
    {
        if (m_core)
            m_core->close();
    }

    StreamType type() const { return m_core->type(); }

    /// The next frame: the oldest that nobody has taken (of at most as many as start was asked to
    /// queue), or the first that comes. Throws Timeout, with what is known of the reason; Unplugged
    /// when the camera is gone; Error when the stream was stopped.
    Frame next(Milliseconds timeout = Milliseconds(1000))
    {
        Frame frame = m_core->take(std::chrono::steady_clock::now() + timeout);
        if (!frame)
            throwWhy(timeout);
        return frame;
    }
    /// The oldest frame that nobody has taken; none, without waiting, when there is none.
    Frame tryNext() { return m_core->tryTake(); }

    /// Calls `function` for every frame from now on, on the stream's own thread; next and the loop
    /// give none then. Null: calls nothing. While it runs the library keeps the newest frame only.
    /// An exception ends the stream, and next and stop throw it. It may do everything but end the
    /// last session; to destroy this stream within it is allowed.
    void onFrame(std::function<void(Frame)> function) { m_core->setFunction(std::move(function)); }

    /// Ends the stream and every wait for it. When it returns the function is not called any more,
    /// unless it is called from within it. Throws what the function threw.
    void stop()
    {
        m_core->close();
        rethrow();
    }

    StreamFigures figures() const { return m_core->figures(); }
    /// For the functions of NubrixBaseContext, until the stream ends.
    NubrixStream *handle() const { return m_core->handle(); }

    /// Gives the frames one by one. One loop at a time.
    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Frame;
        using difference_type = std::ptrdiff_t;
        using pointer = const Frame *;
        using reference = const Frame &;

        Iterator() = default;
        const Frame &operator*() const { return m_frame; }
        const Frame *operator->() const { return &m_frame; }
        Iterator &operator++()
        {
            m_frame = {};  // returned before the next one is waited for: a camera may wait for it
            m_frame = m_stream->m_core->take({});
            if (!m_frame)
                m_stream->rethrow();
            return *this;
        }
        void operator++(int) { ++*this; }
        bool operator==(const Iterator &other) const
        {
            return static_cast<bool>(m_frame) == static_cast<bool>(other.m_frame);
        }
        bool operator!=(const Iterator &other) const { return !(*this == other); }

    private:
        friend class Stream;
        explicit Iterator(Stream &stream) : m_stream(&stream) { ++*this; }

        Stream *m_stream = nullptr;
        Frame m_frame;
    };
    Iterator begin() { return Iterator(*this); }
    Iterator end() { return {}; }

private:
    friend class Camera;
    friend Stream &waitAny(const std::vector<Stream *> &streams, Milliseconds timeout);

    explicit Stream(std::shared_ptr<detail::StreamCore> core) : m_core(std::move(core)) {}

    void rethrow()
    {
        if (const std::exception_ptr problem = m_core->takeProblem())
            std::rethrow_exception(problem);
    }
    [[noreturn]] void throwWhy(Milliseconds timeout)
    {
        rethrow();
        const std::string about = std::string(name(type())) + " of " + m_core->uri();
        if (m_core->hasEnded())
            detail::fail("next", -2, 0, "next (" + about + "): the stream was stopped");
        if (m_core->isOver())
            detail::fail("next", -9, 0, detail::describe("next", about, -9, 0));
        const StreamFigures now = figures();
        std::string text = "next (" + about + "): no frame in " + std::to_string(timeout.count()) +
                           " ms, " + std::to_string(now.frames) + " since the start";
        if (now.held >= static_cast<int>(detail::FramePool::kFrames) - 1)
            text += "; the application holds " + std::to_string(now.held) + " of the " +
                    std::to_string(detail::FramePool::kFrames) +
                    " frames that this stream has: let go of some, or clone them";
        detail::fail("next", -11, 0, text);
    }

    std::shared_ptr<detail::StreamCore> m_core;
};

/// Waits until one of the streams has a frame and returns that one: tryNext gives the frame, unless
/// another thread was faster. Throws Timeout; Unplugged when none of their cameras is there any
/// more; Error without streams.
inline Stream &waitAny(const std::vector<Stream *> &streams,
                       Stream::Milliseconds timeout = Stream::Milliseconds(1000))
{
    Stream *ready = nullptr;
    bool over = false;
    const auto look = [&] {
        over = true;
        for (Stream *each : streams) {
            if (each->m_core->hasFrame()) {
                ready = each;
                return true;
            }
            over = over && each->m_core->isOver();
        }
        return over;
    };
    const bool woken =
        detail::Arrivals::instance().waitFor(std::chrono::steady_clock::now() + timeout, look);
    if (ready)
        return *ready;
    const int status = !woken ? -11 : streams.empty() ? -4 : -9;
    detail::fail("waitAny", status, 0, detail::describe("waitAny", "", status, 0));
}

}  // namespace client
}  // namespace nubrix
