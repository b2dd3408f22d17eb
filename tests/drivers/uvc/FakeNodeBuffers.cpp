// The buffers of a fake node.
#include <algorithm>
#include <cerrno>

#include "tests/drivers/uvc/FakeNode.h"

namespace nubrix::uvc {

namespace {

constexpr std::uint32_t kPage = 1U << 24U;  // distance of the buffers in what is mapped

template <class T>
T &as(void *argument)
{
    return *static_cast<T *>(argument);
}

}  // namespace

void FakeCamera::capture(const Shot &shot)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const std::uint32_t sequence = m_sequence++;
    if (!m_streaming || m_empty.empty())
        return;
    const std::uint32_t index = m_empty.front();
    m_empty.pop_front();
    Buffer &buffer = m_buffers[index];
    const std::size_t used = std::min(shot.bytes.size(), buffer.length);
    std::copy_n(shot.bytes.begin(), used, buffer.memory);
    buffer.used = static_cast<std::uint32_t>(shot.bytes.size());
    buffer.sequence = sequence;
    buffer.flags = shot.flags;
    buffer.timestampUs = shot.timestampUs;
    m_ready.push_back(index);
    m_filled.set();
}

std::size_t FakeCamera::buffers() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_buffers.size();
}

std::uint32_t FakeCamera::memory() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_memory;
}

unsigned int FakeCamera::mappings() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_mappings;
}

unsigned int FakeCamera::pins() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_pins;
}

std::size_t FakeCamera::queued() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_empty.size();
}

int FakeCamera::useBuffers(unsigned long request, void *argument)
{
    switch (request) {
        case VIDIOC_REQBUFS:
            return requestBuffers(as<v4l2_requestbuffers>(argument));
        case VIDIOC_QUERYBUF:
            as<v4l2_buffer>(argument).length =
                static_cast<std::uint32_t>(m_buffers[as<v4l2_buffer>(argument).index].length);
            as<v4l2_buffer>(argument).m.offset = as<v4l2_buffer>(argument).index * kPage;
            return 0;
        case VIDIOC_QBUF:
            return queue(as<v4l2_buffer>(argument));
        case VIDIOC_DQBUF:
            return dequeue(as<v4l2_buffer>(argument));
        case VIDIOC_STREAMON:
            if (m_format.pixelformat == tooMuch)
                return ENOSPC;
            m_streaming = true;
            return 0;
        case VIDIOC_STREAMOFF:
            m_streaming = false;
            m_empty.clear();
            m_ready.clear();
            return 0;
        default:
            return ENOTTY;
    }
}

int FakeCamera::requestBuffers(v4l2_requestbuffers &request)
{
    if (request.memory == V4L2_MEMORY_USERPTR && !takesUserMemory)
        return EINVAL;
    if (request.count != 0 && !m_buffers.empty())  // as the strictest nodes do
        return EBUSY;
    m_buffers.clear();
    m_claimed = request.count != 0;
    if (m_claimed)
        request.count = std::clamp(request.count, leastBuffers, mostBuffers);
    m_memory = request.count == 0 ? 0 : request.memory;
    for (std::uint32_t i = 0; i < request.count; ++i) {
        Buffer buffer = {};
        if (request.memory == V4L2_MEMORY_MMAP) {
            buffer.own.resize(m_format.sizeimage);
            buffer.memory = buffer.own.data();
            buffer.length = buffer.own.size();
        }
        m_buffers.push_back(std::move(buffer));
        if (request.memory == V4L2_MEMORY_MMAP)
            m_buffers.back().memory = m_buffers.back().own.data();
    }
    return 0;
}

int FakeCamera::queue(const v4l2_buffer &buffer)
{
    const auto isIn = [&](const std::deque<std::uint32_t> &indices) {
        return std::find(indices.begin(), indices.end(), buffer.index) != indices.end();
    };
    if (buffer.index >= m_buffers.size() || buffer.memory != m_memory || isIn(m_empty) ||
        isIn(m_ready))
        return EINVAL;
    if (buffer.memory == V4L2_MEMORY_USERPTR) {
        if (buffer.length < m_format.sizeimage)
            return EINVAL;
        pin(m_buffers[buffer.index], reinterpret_cast<std::uint8_t *>(buffer.m.userptr));
    }
    m_empty.push_back(buffer.index);
    return 0;
}

void FakeCamera::pin(Buffer &buffer, std::uint8_t *memory)
{
    if (buffer.memory != memory)
        ++m_pins;
    buffer.memory = memory;
    buffer.length = m_format.sizeimage;
}

int FakeCamera::dequeue(v4l2_buffer &buffer)
{
    if (m_ready.empty())
        return EAGAIN;
    buffer.index = m_ready.front();
    m_ready.pop_front();
    if (m_ready.empty())
        m_filled.clear();
    const Buffer &filled = m_buffers[buffer.index];
    buffer.bytesused = filled.used;
    buffer.sequence = filled.sequence;
    buffer.flags = filled.flags;
    buffer.timestamp.tv_sec =
        static_cast<decltype(buffer.timestamp.tv_sec)>(filled.timestampUs / 1000000U);
    buffer.timestamp.tv_usec =
        static_cast<decltype(buffer.timestamp.tv_usec)>(filled.timestampUs % 1000000U);
    return 0;
}

void *FakeCamera::map(std::size_t length, std::uint32_t offset)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const std::size_t index = offset / kPage;
    if (index >= m_buffers.size() || length > m_buffers[index].length)
        return nullptr;
    ++m_mappings;
    return m_buffers[index].memory;
}

void FakeCamera::unmap()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    --m_mappings;
}

}  // namespace nubrix::uvc
