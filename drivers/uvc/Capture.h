// A running capture of a node: the buffers that go between kernel and driver.
#pragma once

#include <linux/videodev2.h>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "nubrix/driver.h"
#include "uvc/PictureConverter.h"

namespace nubrix {

struct FrameReleaser {
    void operator()(NubrixFrameRef *frame) const { frame->release(); }
};
using FramePtr = std::unique_ptr<NubrixFrameRef, FrameReleaser>;

/// One picture that the camera has captured.
struct Picture {
    std::uint32_t sequence = 0;  ///< counts what the camera captured
    std::uint64_t timestampUs = 0;
    bool damaged = false;  ///< as the kernel says
    Conversion conversion = Conversion::kNothing;
    FramePtr frame;  ///< null when the pool had none, or for kNothing
};

/// Ends with its destruction: the node then has no buffers, and no frame is held. Errors are errno
/// values. Not thread-safe.
class Capture {
public:
    Capture() = default;
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;
    virtual ~Capture() = default;

    /// Gives the kernel its buffers and begins.
    virtual int begin() = 0;
    /// Takes the oldest filled buffer and gives the kernel another one. EAGAIN when none is filled.
    virtual int take(Picture &picture) = 0;
};

/// What the two kinds of capture do alike.
v4l2_buffer captureBuffer(std::uint32_t memory, std::uint32_t index);
/// Takes sequence, time and damage from a filled buffer.
void describe(const v4l2_buffer &buffer, Picture &picture);

}  // namespace nubrix
