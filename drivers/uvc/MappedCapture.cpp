#include "uvc/MappedCapture.h"

#include <algorithm>
#include <cerrno>

namespace nubrix {

namespace {

constexpr std::uint32_t kBuffers = 4;

}  // namespace

MappedCapture::MappedCapture(NodeIo &node, FrameAllocatorInterfaceBase &pool,
                             PictureConverter &converter)
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
    std::uint32_t count = kBuffers;
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

int MappedCapture::take(Picture &picture)
{
    v4l2_buffer buffer = captureBuffer(V4L2_MEMORY_MMAP, 0);
    if (const int error = m_node.control(VIDIOC_DQBUF, &buffer))
        return error;
    if (buffer.index >= m_mappings.size())
        return EPROTO;
    describe(buffer, picture);
    convert(buffer, picture);
    v4l2_buffer again = captureBuffer(V4L2_MEMORY_MMAP, buffer.index);
    return m_node.control(VIDIOC_QBUF, &again);
}

void MappedCapture::convert(const v4l2_buffer &buffer, Picture &picture)
{
    const Mapping &mapping = m_mappings[buffer.index];
    const std::size_t bytes = std::min<std::size_t>(buffer.bytesused, mapping.bytes);
    picture.conversion = bytes == 0 ? Conversion::kNothing : Conversion::kWhole;
    if (bytes == 0)
        return;
    picture.frame.reset(m_pool.allocOneFrame());
    if (!picture.frame)
        return;
    if (picture.frame->bufferSize() < m_converter.frameBytes()) {
        picture.frame.reset();
        return;
    }
    picture.conversion =
        m_converter.convert(static_cast<const std::uint8_t *>(mapping.memory), bytes,
                            static_cast<std::uint8_t *>(picture.frame->frame().data));
    if (picture.conversion == Conversion::kNothing)
        picture.frame.reset();
}

}  // namespace nubrix
