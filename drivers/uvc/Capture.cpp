#include "uvc/Capture.h"

#include <chrono>

namespace nubrix {

int requestBuffers(NodeIo &node, std::uint32_t memory, std::uint32_t &count)
{
    v4l2_requestbuffers request = {};
    request.count = count;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = memory;
    const int error = node.control(VIDIOC_REQBUFS, &request);
    count = request.count;
    return error;
}

int switchCapture(NodeIo &node, unsigned long request)
{
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    return node.control(request, &type);
}

v4l2_buffer captureBuffer(std::uint32_t memory, std::uint32_t index)
{
    v4l2_buffer buffer = {};
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = memory;
    buffer.index = index;
    return buffer;
}

void describe(const v4l2_buffer &buffer, Picture &picture)
{
    picture.sequence = buffer.sequence;
    picture.damaged = (buffer.flags & V4L2_BUF_FLAG_ERROR) != 0;
    if ((buffer.flags & V4L2_BUF_FLAG_TIMESTAMP_MASK) == V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC) {
        picture.timestampUs = static_cast<std::uint64_t>(buffer.timestamp.tv_sec) * 1000000U +
                              static_cast<std::uint64_t>(buffer.timestamp.tv_usec);
        return;
    }
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    picture.timestampUs = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

}  // namespace nubrix
