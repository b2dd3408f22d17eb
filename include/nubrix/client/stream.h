/// @file
/// The frames of a camera as they come.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "nubrix/client/detail/missing_frame.h"
#include "nubrix/client/detail/stream_core.h"
#include "nubrix/client/frame.h"
#include "nubrix/client/ledger.h"

namespace nubrix {
namespace client {

namespace detail {
struct AnyStream;
}

/// A running stream. It stops when this is destroyed, as with stop; frames that it gave stay valid.
/// Thread-safe; threads that wait for different streams do not wait for each other.
///
///     for (const Frame &frame : stream)  // until the camera is gone or stop is called
///         use(frame);
///
/// The loop waits for a camera that is quiet. It throws Unplugged when the camera does not answer
/// any more, Timeout when the application holds all frames, and what ended the stream.
class Stream {
public:
    /// @{
    /// Moved from one owner to the next, not copied; the stream that is assigned to stops.
    Stream(Stream &&) noexcept = default;
    Stream &operator=(Stream &&other) noexcept
    {
        Stream(std::move(other)).m_core.swap(m_core);
        return *this;
    }
    Stream(const Stream &) = delete;
    Stream &operator=(const Stream &) = delete;
    /// @}
    /// Stops the stream.
    ~Stream()
    {
        if (m_core)
            m_core->close();
    }

    /// What it carries.
    StreamType type() const { return m_core->type(); }

    /// The next frame: the oldest that nobody has taken, or the first that comes. Throws Timeout,
    /// which explains who holds the frames when they are used up; Unplugged when the camera is gone
    /// or does not answer; Error when the stream has ended.
    Frame next(Milliseconds timeout = kDefaultTimeout)
    {
        Frame frame = m_core->take(detail::deadlineAfter(timeout));
        if (!frame)
            explain(timeout, "no frame");
        return frame;
    }
    /// As next, but returns no frame that is not complete.
    Frame nextComplete(Milliseconds timeout = kDefaultTimeout)
    {
        const auto deadline = detail::deadlineAfter(timeout);
        do {
            const Frame frame = m_core->take(deadline);
            if (!frame)
                break;
            if (frame.isComplete())
                return frame;
        } while (std::chrono::steady_clock::now() < deadline);
        explain(timeout, "no complete frame");
    }
    /// The oldest frame that nobody has taken; none, without waiting, when there is none:
    /// isOver returns whether one may still come.
    Frame tryNext() { return m_core->tryTake(); }

    /// Calls `function` for every frame from now on, on the stream's own thread; next and the loop
    /// give none then, and those that wait to be taken are dropped. Null: calls nothing. When this
    /// returns a function that was set before does not run any more, unless this is called within
    /// it. Throws an Error (status -2) when the stream has ended. While the
    /// function runs the library keeps the newest frame only. When it throws the stream ends, and
    /// stop and next throw an Error with that text. It may do everything, also destroy this stream;
    /// but what it destroys last of all leaves the library initialized.
    void onFrame(std::function<void(Frame)> function) { m_core->setFunction(std::move(function)); }

    /// Ends the stream and every wait for it. When it returns the function does not run and is not
    /// called any more, unless this is called within it. Throws an Error when the function threw.
    void stop()
    {
        m_core->close();
        m_core->rethrow();
    }

    /// Throws when no further frame will come: Unplugged when the camera is gone or does not
    /// answer, Error when the stream has ended.
    void check() { check("stream"); }
    /// Whether no frame comes any more, as the stream has ended or the camera is gone; next throws
    /// why. Frames that wait can still be taken.
    bool isOver() const { return m_core->isOver(); }

    /// What it has done since its start.
    StreamFigures figures() const { return m_core->figures(); }
    /// Where its frames went in the library, when the stream has ended just before that: those of
    /// its queue here count as delivered to the callback. May wait while a camera is opened.
    NubrixStreamLedger ledger() const { return m_core->ledger(); }
    /// What frames were lost and why, a line for each cause; empty when none was.
    std::vector<std::string> losses() const
    {
        std::vector<std::string> lines = client::losses(ledger(), m_core->interval());
        if (const std::uint64_t dropped = figures().dropped)
            lines.push_back(std::to_string(dropped) +
                            " dropped from the queue: nobody took them in time");
        return lines;
    }
    /// For the functions of NubrixBaseContext, until the stream ends.
    NubrixStream *handle() const { return m_core->handle(); }

    /// Gives the frames one by one. One loop at a time.
    class Iterator {
    public:
        /// @{
        /// What the standard library asks of an input iterator.
        using iterator_category = std::input_iterator_tag;
        using value_type = Frame;
        using difference_type = std::ptrdiff_t;
        using pointer = const Frame *;
        using reference = const Frame &;
        /// @}

        /// The end.
        Iterator() = default;
        /// @{
        /// The frame, until the iterator goes on.
        const Frame &operator*() const { return m_frame; }
        const Frame *operator->() const { return &m_frame; }
        /// @}
        /// @{
        /// Returns the frame and waits for the next one; at the end when the stream has stopped.
        /// Throws as the loop does.
        Iterator &operator++()
        {
            m_frame = {};  // returned before the next one is waited for: a camera may wait for it
            m_frame = detail::takeForLoop(*m_core);
            if (!m_frame)
                m_core->rethrow();
            return *this;
        }
        void operator++(int) { ++*this; }
        /// @}
        /// @{
        /// Equal when both are at the end, or neither is.
        bool operator==(const Iterator &other) const
        {
            return static_cast<bool>(m_frame) == static_cast<bool>(other.m_frame);
        }
        bool operator!=(const Iterator &other) const { return !(*this == other); }
        /// @}

    private:
        friend class Stream;
        explicit Iterator(std::shared_ptr<detail::StreamCore> core) : m_core(std::move(core))
        {
            ++*this;
        }

        std::shared_ptr<detail::StreamCore> m_core;
        Frame m_frame;
    };
    /// Waits for the first frame.
    Iterator begin() { return Iterator(m_core); }
    /// After the last frame.
    Iterator end() { return {}; }

private:
    friend class Camera;
    friend struct detail::AnyStream;

    void check(const char *operation)
    {
        m_core->rethrow();
        const std::string subject = m_core->subject();
        if (m_core->hasEnded()) {
            detail::fail(
                operation, -2, 0,
                std::string(operation) + " (" + subject + "): the stream has ended; start anew");
        }
        if (m_core->isOver())
            detail::fail(operation, subject, -9);
        if (const int status = m_core->cameraStatus())
            detail::fail(operation, subject, status);
    }
    explicit Stream(std::shared_ptr<detail::StreamCore> core) : m_core(std::move(core)) {}

    [[noreturn]] void explain(Milliseconds timeout, const char *what)
    {
        check("next");
        detail::requireQuiet("next", *m_core, timeout);
        detail::failWithoutFrame("next", *m_core, timeout, "wait longer, or run 'nubrix doctor'",
                                 what);
    }

    std::shared_ptr<detail::StreamCore> m_core;
};

namespace detail {

/// The implementation of waitAny.
struct AnyStream {
    static Stream &wait(Stream *const *streams, std::size_t count, Milliseconds timeout)
    {
        if (count == 0)
            fail("waitAny", -4, 0, "waitAny: there is no stream; name one");
        Stream *ready = nullptr;
        bool over = false;
        const bool woken = Arrivals::instance().waitFor(deadlineAfter(timeout), [&] {
            ready = oldest(streams, count);
            over = !ready && std::all_of(streams, streams + count,
                                         [](Stream *each) { return each->m_core->isOver(); });
            return ready || over;
        });
        if (ready)
            return *ready;
        const std::string subject =
            streams[0]->m_core->subject() + (count > 1 ? " and others" : "");
        for (std::size_t i = 0; !woken && i < count; ++i)
            requireQuiet("waitAny", *streams[i]->m_core, timeout);
        if (!woken)
            fail("waitAny", subject, -11);
        if (std::all_of(streams, streams + count,
                        [](Stream *each) { return each->m_core->hasEnded(); })) {
            fail("waitAny", -2, 0, "waitAny (" + subject + "): all have ended; start one anew");
        }
        fail("waitAny", subject, -9);
    }

private:
    static Stream *oldest(Stream *const *streams, std::size_t count)
    {
        Stream *found = nullptr;
        std::chrono::steady_clock::time_point since;
        for (std::size_t i = 0; i < count; ++i) {
            const auto waiting = streams[i]->m_core->waitingSince();
            if (!waiting || (found && since <= *waiting))
                continue;
            found = streams[i];
            since = *waiting;
        }
        return found;
    }
};

}  // namespace detail

/// @{
/// Waits until one of the streams has a frame and returns that one, of several the one whose frame
/// came first: tryNext gives it, unless another thread was faster. Throws as next does: Timeout,
/// also when one of them has its frames used up; Unplugged when no camera of them is attached, or
/// one does not answer any more; Error without streams, and when all have ended.
inline Stream &waitAny(std::initializer_list<Stream *> streams,
                       Milliseconds timeout = kDefaultTimeout)
{
    return detail::AnyStream::wait(streams.begin(), streams.size(), timeout);
}
inline Stream &waitAny(const std::vector<Stream *> &streams, Milliseconds timeout = kDefaultTimeout)
{
    return detail::AnyStream::wait(streams.data(), streams.size(), timeout);
}
/// @}

}  // namespace client
}  // namespace nubrix
