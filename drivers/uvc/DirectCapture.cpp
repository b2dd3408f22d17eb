#include "uvc/DirectCapture.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace nubrix {

namespace {

constexpr std::uint32_t kBuffers = 3;  // of the 10 that the pool has

}  // namespace

DirectCapture::DirectCapture(NodeIo &node, FrameAllocatorInterfaceBase &pool,
                             std::size_t frameBytes, std::size_t bufferBytes)
    : m_node(node),
      m_pool(pool),
      m_frameBytes(frameBytes),
      m_bufferBytes(bufferBytes),
      m_frames(std::make_shared<std::vector<FramePtr>>())
{
}

DirectCapture::~DirectCapture()
{
    switchCapture(m_node, VIDIOC_STREAMOFF);
    std::uint32_t none = 0;
    requestBuffers(m_node, V4L2_MEMORY_USERPTR, none);
    // Only now does the kernel write no more, or when it has done so.
    m_node.hold(m_frames);
}

int DirectCapture::begin()
{
    std::uint32_t count = kBuffers;
    if (const int error = requestBuffers(m_node, V4L2_MEMORY_USERPTR, count))
        return error;
    // Of a node that wants more, the pool would have too few left.
    if (count > kBuffers)
        return ENOBUFS;
    for (std::uint32_t i = 0; i < count; ++i) {
        m_frames->push_back(newFrame());
        if (!m_frames->back())
            return ENOMEM;
        if (const int error = give(i))
            return error;
    }
    return switchCapture(m_node, VIDIOC_STREAMON);
}

FramePtr DirectCapture::newFrame()
{
    FramePtr frame(m_pool.allocOneFrame());
    if (frame && frame->bufferSize() < m_bufferBytes)
        frame.reset();
    return frame;
}

int DirectCapture::give(std::uint32_t index)
{
    v4l2_buffer buffer = captureBuffer(V4L2_MEMORY_USERPTR, index);
    buffer.m.userptr = reinterpret_cast<unsigned long>((*m_frames)[index]->frame().data);
    buffer.length = (*m_frames)[index]->bufferSize();
    return m_node.control(VIDIOC_QBUF, &buffer);
}

int DirectCapture::take(Picture &picture)
{
    v4l2_buffer buffer = captureBuffer(V4L2_MEMORY_USERPTR, 0);
    if (const int error = m_node.control(VIDIOC_DQBUF, &buffer))
        return error;
    if (buffer.index >= m_frames->size())
        return EPROTO;
    describe(buffer, picture);
    const std::size_t bytes = std::min<std::size_t>(buffer.bytesused, m_frameBytes);
    picture.conversion = bytes == 0              ? Conversion::kNothing
                         : bytes == m_frameBytes ? Conversion::kWhole
                                                 : Conversion::kShort;
    if (FramePtr next = bytes == 0 ? nullptr : newFrame()) {
        picture.frame = std::exchange((*m_frames)[buffer.index], std::move(next));
        auto *data = static_cast<std::uint8_t *>(picture.frame->frame().data);
        std::memset(data + bytes, 0, m_frameBytes - bytes);
    }
    return give(buffer.index);
}

}  // namespace nubrix
