// A running capture of a node: the buffers that go between kernel and driver.
#pragma once

#include <linux/videodev2.h>
#include <cstddef>
#include <cstdint>

#include "common/FramePtr.h"
#include "uvc/NodeIo.h"
#include "uvc/PictureConverter.h"

namespace nubrix {

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

// What the two kinds of capture do alike; the results are errno values.

/// Asks for `count` buffers, 0 to give them back; `count` is then what there is.
int requestBuffers(NodeIo &node, std::uint32_t memory, std::uint32_t &count);
/// VIDIOC_STREAMON or VIDIOC_STREAMOFF.
int switchCapture(NodeIo &node, unsigned long request);
v4l2_buffer captureBuffer(std::uint32_t memory, std::uint32_t index);
/// Takes sequence, time and damage from a filled buffer.
void describe(const v4l2_buffer &buffer, Picture &picture);

}  // namespace nubrix
