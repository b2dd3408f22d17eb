// Waits for the next frame of any of several streams.
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <vector>

#include "base/EventImpl.h"
#include "base/Mutex.h"
#include "stream/StreamFrameBaseListener.h"

namespace nubrix {

/// One for each thread that waits. onNewFrame: the streams' threads; wake, isConnected and
/// disconnectUnlessWaiting: any thread; everything else: the waiter.
class MultiStreamsListener final : public StreamFrameBaseListener {
public:
    MultiStreamsListener() = default;
    ~MultiStreamsListener() override;

    void onNewFrame(VideoStream *stream) override;
    /// Until removeAllStreams, a frame of any of these streams that are not null ends a wait, and
    /// of no others. Does nothing for a count of 0. When it throws (std::bad_alloc), no stream is
    /// connected any more.
    void addStreams(VideoStream **streams, unsigned int count);
    void addStreams(const std::list<VideoStream *> &streams);
    /// Waits up to `ms` milliseconds. 0 with the stream that signalled last in `*out` (which may be
    /// null), -11 on time-out, -1 on another failure.
    int wait(unsigned int ms, VideoStream **out);
    /// Ends a wait that is under way, or the next one.
    void wake();
    /// No stream ends a wait any more, and a frame that no wait has consumed is forgotten. The
    /// streams stay connected, because most waiters wait for the same ones again.
    void removeAllStreams();
    bool isConnected() const { return m_isConnected; }
    /// Disconnects from the streams, unless they are waited for. The next wait connects again.
    void disconnectUnlessWaiting();

private:
    bool isConnectedTo(VideoStream **streams, unsigned int count) const
        NUBRIX_REQUIRES(m_connecting);
    void connectTo(VideoStream **streams, unsigned int count) NUBRIX_REQUIRES(m_connecting);
    void disconnectAll() NUBRIX_REQUIRES(m_connecting);
    bool isOver();

    EventImpl m_event;  // never set: it wakes the waiter, which looks at the state below
    std::atomic<bool> m_isConnected{false};
    Mutex m_connecting;  // taken before the locks of signals
    // The ids of the connected streams, in their order.
    std::vector<std::uint64_t> m_connected NUBRIX_GUARDED_BY(m_connecting);
    Mutex m_state;
    bool m_listens NUBRIX_GUARDED_BY(m_state) = false;
    bool m_woken NUBRIX_GUARDED_BY(m_state) = false;
    VideoStream *m_lastStream NUBRIX_GUARDED_BY(m_state) = nullptr;  // null once a wait has ended
};

}  // namespace nubrix
