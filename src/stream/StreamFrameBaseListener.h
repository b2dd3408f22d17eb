// The interface that is notified when a stream has a new frame.
#pragma once

#include "base/sigslot.h"

namespace nubrix {

class VideoStream;

/// onNewFrame is called on the stream's own thread, for every frame, while connected. It must not
/// connect to or disconnect from that stream.
class StreamFrameBaseListener : public sigslot::has_slots<sigslot::multi_threaded_local> {
public:
    virtual void onNewFrame(VideoStream *stream) = 0;
};

/// A listener that ignores every frame.
class UserStreamFrameListener final : public StreamFrameBaseListener {
public:
    // Here, while onNewFrame is still this class's: a stream's thread may be calling it.
    ~UserStreamFrameListener() override { disconnect_all(); }

    void onNewFrame(VideoStream * /*stream*/) override {}
};

}  // namespace nubrix
