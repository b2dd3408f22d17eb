// The first whole frame of a stream.
#pragma once

#include "Camera.h"

namespace nubrix {

/// Opens a stream and waits for its first whole frame, which stays valid while this lives.
class FrameWait {
public:
    /// Throws a Failure when none comes within 5 s.
    FrameWait(Camera &camera, const StreamKind &kind);
    ~FrameWait();
    FrameWait(const FrameWait &) = delete;
    FrameWait &operator=(const FrameWait &) = delete;

    const typedefNubrixFrame &frame() const { return *m_frame; }

private:
    void read();

    NubrixBaseContext &m_context;
    NubrixStream *m_stream = nullptr;
    typedefNubrixFrame *m_frame = nullptr;
};

}  // namespace nubrix
