// The first complete frame of a stream.
#pragma once

#include "Camera.h"

namespace nubrix::tool {

/// Opens a stream and waits for its first complete frame, which is valid as long as this object.
class FirstFrame {
public:
    /// Throws a Failure when no complete frame arrives within 5 s.
    FirstFrame(Camera &camera, const StreamKind &kind);
    ~FirstFrame();
    FirstFrame(const FirstFrame &) = delete;
    FirstFrame &operator=(const FirstFrame &) = delete;

    const typedefNubrixFrame &frame() const { return *m_frame; }

private:
    void read();

    NubrixBaseContext &m_context;
    NubrixStream *m_stream = nullptr;
    typedefNubrixFrame *m_frame = nullptr;
};

}  // namespace nubrix::tool
