#include "uvc/Capture.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

namespace nubrix::uvc {

namespace {

constexpr std::uint32_t kPoolFrames = 10;
constexpr std::uint32_t kDirectBuffers = 3;  // that the kernel holds at a time
constexpr std::uint32_t kMappedBuffers = 4;

}  // namespace

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

void describe(const v4l2_buffer &buffer, CapturedFrame &captured)
{
    captured.sequence = buffer.sequence;
    captured.damaged = (buffer.flags & V4L2_BUF_FLAG_ERROR) != 0;
    if ((buffer.flags & V4L2_BUF_FLAG_TIMESTAMP_MASK) == V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC) {
        captured.timestampUs = static_cast<std::uint64_t>(buffer.timestamp.tv_sec) * 1000000U +
                               static_cast<std::uint64_t>(buffer.timestamp.tv_usec);
        return;
    }
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    captured.timestampUs = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

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
    // The frames are released only now, or later when the node is still busy: until then the kernel
    // may write to them.
    m_node.hold(m_frames);
}

int DirectCapture::begin()
{
    std::uint32_t queued = 0;
    if (const int error = requestIndices(queued))
        return error;
    for (std::uint32_t i = 0; i < queued; ++i) {
        FramePtr frame = newFrame();
        if (!frame)
            return ENOMEM;
        if (const int error = enqueue(std::move(frame)))
            return error;
    }
    return switchCapture(m_node, VIDIOC_STREAMON);
}

int DirectCapture::requestIndices(std::uint32_t &queued)
{
    queued = kDirectBuffers;
    if (const int error = requestBuffers(m_node, V4L2_MEMORY_USERPTR, queued))
        return error;
    // A node that takes more buffers captures only when it has them all: too few frames would be
    // left in the pool.
    if (queued > kDirectBuffers)
        return ENOBUFS;
    // Some nodes refuse to replace buffers (EBUSY).
    std::uint32_t none = 0;
    if (const int error = requestBuffers(m_node, V4L2_MEMORY_USERPTR, none))
        return error;
    std::uint32_t count = kPoolFrames;
    if (const int error = requestBuffers(m_node, V4L2_MEMORY_USERPTR, count))
        return error;
    count = std::min(count, kPoolFrames);
    queued = std::min(queued, count);
    m_frames->resize(count);
    m_addresses.resize(count);
    // The first index comes first.
    for (std::uint32_t i = count; i > 0; --i)
        m_idle.push_back(i - 1);
    return 0;
}

FramePtr DirectCapture::newFrame()
{
    FramePtr frame(m_pool.allocOneFrame());
    if (frame && frame->bufferSize() < m_bufferBytes)
        frame.reset();
    return frame;
}

int DirectCapture::enqueue(FramePtr frame)
{
    void *data = frame->frame().data;
    const std::uint32_t index = takeIndexFor(data);
    v4l2_buffer buffer = captureBuffer(V4L2_MEMORY_USERPTR, index);
    buffer.m.userptr = reinterpret_cast<unsigned long>(data);
    buffer.length = frame->bufferSize();
    (*m_frames)[index] = std::move(frame);
    return m_node.control(VIDIOC_QBUF, &buffer);
}

std::uint32_t DirectCapture::takeIndexFor(const void *data)
{
    const auto idleWith = [this](const void *address) {
        return std::find_if(m_idle.begin(), m_idle.end(),
                            [&](std::uint32_t i) { return m_addresses[i] == address; });
    };
    auto found = idleWith(data);
    if (found == m_idle.end())
        found = idleWith(nullptr);
    // The pool hands out the frame that was returned first, so the frame of the index that became
    // idle last is needed last.
    if (found == m_idle.end())
        --found;
    const std::uint32_t index = *found;
    m_idle.erase(found);
    m_addresses[index] = data;
    return index;
}

int DirectCapture::take(CapturedFrame &captured)
{
    v4l2_buffer buffer = captureBuffer(V4L2_MEMORY_USERPTR, 0);
    if (const int error = m_node.control(VIDIOC_DQBUF, &buffer))
        return error;
    if (buffer.index >= m_frames->size() || !(*m_frames)[buffer.index])
        return EPROTO;
    describe(buffer, captured);
    const std::size_t bytes = std::min<std::size_t>(buffer.bytesused, m_frameBytes);
    captured.conversion = bytes == 0              ? Conversion::kUnusable
                          : bytes == m_frameBytes ? Conversion::kComplete
                                                  : Conversion::kShort;
    FramePtr filled = std::move((*m_frames)[buffer.index]);
    m_idle.push_back(buffer.index);
    FramePtr next = bytes == 0 ? nullptr : newFrame();
    if (!next)
        return enqueue(std::move(filled));
    auto *data = static_cast<std::uint8_t *>(filled->frame().data);
    std::memset(data + bytes, 0, m_frameBytes - bytes);
    captured.frame = std::move(filled);
    return enqueue(std::move(next));
}

MappedCapture::MappedCapture(NodeIo &node, FrameAllocatorInterfaceBase &pool,
                             FrameConverter &converter)
    : m_node(node), m_pool(pool), m_converter(converter)
{
}

MappedCapture::~MappedCapture()
{
    switchCapture(m_node, VIDIOC_STREAMOFF);
    for (const Mapping &mapping : m_mappings)
        m_node.unmap(mapping.memory, mapping.bytes);
    std::uint32_t none = 0;
    requestBuffers(m_node, V4L2_MEMORY_MMAP, none);
}

int MappedCapture::begin()
{
    std::uint32_t count = kMappedBuffers;
    if (const int error = requestBuffers(m_node, V4L2_MEMORY_MMAP, count))
        return error;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (const int error = addBuffer(i))
            return error;
    }
    return switchCapture(m_node, VIDIOC_STREAMON);
}

int MappedCapture::addBuffer(std::uint32_t index)
{
    v4l2_buffer buffer = captureBuffer(V4L2_MEMORY_MMAP, index);
    if (const int error = m_node.control(VIDIOC_QUERYBUF, &buffer))
        return error;
    void *memory = m_node.map(buffer.length, buffer.m.offset);
    if (memory == nullptr)
        return ENOMEM;
    m_mappings.push_back({memory, buffer.length});
    return m_node.control(VIDIOC_QBUF, &buffer);
}

int MappedCapture::take(CapturedFrame &captured)
{
    v4l2_buffer buffer = captureBuffer(V4L2_MEMORY_MMAP, 0);
    if (const int error = m_node.control(VIDIOC_DQBUF, &buffer))
        return error;
    if (buffer.index >= m_mappings.size())
        return EPROTO;
    describe(buffer, captured);
    convert(buffer, captured);
    v4l2_buffer again = captureBuffer(V4L2_MEMORY_MMAP, buffer.index);
    return m_node.control(VIDIOC_QBUF, &again);
}

void MappedCapture::convert(const v4l2_buffer &buffer, CapturedFrame &captured)
{
    const Mapping &mapping = m_mappings[buffer.index];
    const std::size_t bytes = std::min<std::size_t>(buffer.bytesused, mapping.bytes);
    captured.conversion = bytes == 0 ? Conversion::kUnusable : Conversion::kComplete;
    if (bytes == 0)
        return;
    captured.frame.reset(m_pool.allocOneFrame());
    if (!captured.frame)
        return;
    if (captured.frame->bufferSize() < m_converter.frameBytes()) {
        captured.frame.reset();
        return;
    }
    captured.conversion =
        m_converter.convert(static_cast<const std::uint8_t *>(mapping.memory), bytes,
                            static_cast<std::uint8_t *>(captured.frame->frame().data));
    if (captured.conversion == Conversion::kUnusable)
        captured.frame.reset();
}

}  // namespace nubrix::uvc
