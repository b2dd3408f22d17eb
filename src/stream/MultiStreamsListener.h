// Waits for the next frame of any of several streams.
#pragma once

#include <atomic>
#include <list>
#include <memory>

#include "base/EventWrapper.h"
#include "stream/StreamFrameBaseListener.h"

namespace nubrix {

/// One for each thread that waits. onNewFrame: the streams' threads; everything else: the waiter.
class MultiStreamsListener final : public StreamFrameBaseListener {
public:
    MultiStreamsListener();
    ~MultiStreamsListener() override;

    void onNewFrame(VideoStream *stream) override;
    /// Connects to every stream that is not null. When it throws (std::bad_alloc), no stream is
    /// connected any more, as after removeAllStreams.
    void addStreams(VideoStream **streams, unsigned int count);
    void addStreams(const std::list<VideoStream *> &streams);
    /// Waits up to `ms` milliseconds. 0 with the stream that signalled last in `*out` (which may be
    /// null), -11 on time-out, -1 on another failure.
    int wait(unsigned int ms, VideoStream **out);
    /// Ends a wait that is under way, or the next one. Any thread.
    void wake() { m_event->set(); }
    /// Disconnects, and clears the event of a frame that no wait has consumed.
    void removeAllStreams();

private:
    const std::unique_ptr<EventWrapper> m_event;
    std::atomic<VideoStream *> m_lastStream{nullptr};
};

}  // namespace nubrix
