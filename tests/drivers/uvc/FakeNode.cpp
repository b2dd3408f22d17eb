#include "tests/drivers/uvc/FakeNode.h"

#include <linux/usb/video.h>
#include <linux/uvcvideo.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tests/drivers/FakePool.h"
#include "uvc/SourceFormat.h"

namespace nubrix {

namespace {

constexpr std::uint32_t kPage = 1U << 24U;  // apart from each other in what is mapped

template <class T>
T &as(void *argument)
{
    return *static_cast<T *>(argument);
}

}  // namespace

void FakeCamera::fail(unsigned long request, int error)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_errors[request] = error;
}

void FakeCamera::block(unsigned long request)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_blocked = request;
    m_blocking.notify_all();
}

void FakeCamera::unblock()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_blocked = 0;
    m_blocking.notify_all();
}

bool FakeCamera::awaitBlocked()
{
    std::unique_lock<std::mutex> lock(m_lock);
    return m_blocking.wait_for(lock, kDeadline, [this] { return m_isInside; });
}

void FakeCamera::waitWhileBlocked(unsigned long request)
{
    std::unique_lock<std::mutex> lock(m_lock);
    if (m_blocked != request)
        return;
    m_isInside = true;
    m_blocking.notify_all();
    m_blocking.wait(lock, [&] { return m_blocked != request; });
    m_isInside = false;
}

void FakeCamera::changeModes()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_changed = true;
}

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

void FakeCamera::captureAll(std::uint8_t value)
{
    capture({std::vector<std::uint8_t>(format().sizeimage + missingBytes, value)});
}

void FakeCamera::lose(unsigned int pictures)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_sequence += pictures;
}

void FakeCamera::unplug()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_gone = true;
    m_filled.set();
}

v4l2_pix_format FakeCamera::format() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_format;
}

v4l2_fract FakeCamera::interval() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_interval;
}

bool FakeCamera::isStreaming() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_streaming;
}

bool FakeCamera::isClaimed() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_claimed;
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

int FakeCamera::control(unsigned long request, void *argument)
{
    waitWhileBlocked(request);
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_gone)
        return ENODEV;
    if (const auto error = m_errors.find(request); error != m_errors.end() && error->second != 0)
        return error->second;
    switch (request) {
        case VIDIOC_QUERYCAP:
            as<v4l2_capability>(argument).capabilities = capabilities | V4L2_CAP_DEVICE_CAPS;
            as<v4l2_capability>(argument).device_caps = capabilities;
            return 0;
        case VIDIOC_ENUM_FMT:
            return enumerateFormats(as<v4l2_fmtdesc>(argument));
        case VIDIOC_ENUM_FRAMESIZES:
            return enumerateSizes(as<v4l2_frmsizeenum>(argument));
        case VIDIOC_ENUM_FRAMEINTERVALS:
            return enumerateIntervals(as<v4l2_frmivalenum>(argument));
        case VIDIOC_G_FMT:
            as<v4l2_format>(argument).fmt.pix = m_format;
            adjust(as<v4l2_format>(argument).fmt.pix);
            return 0;
        case VIDIOC_TRY_FMT:
            adjust(as<v4l2_format>(argument).fmt.pix);
            return 0;
        case VIDIOC_S_FMT:
            adjust(as<v4l2_format>(argument).fmt.pix);
            m_format = as<v4l2_format>(argument).fmt.pix;
            m_claimed = true;
            return 0;
        case VIDIOC_S_PARM:
            if (givenRate != 0)
                as<v4l2_streamparm>(argument).parm.capture.timeperframe = {1, givenRate};
            m_interval = as<v4l2_streamparm>(argument).parm.capture.timeperframe;
            return 0;
        case VIDIOC_G_PARM:
            as<v4l2_streamparm>(argument).parm.capture.timeperframe = m_interval;
            return 0;
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
        case VIDIOC_G_CTRL:
        case VIDIOC_S_CTRL:
            return useControl(request, as<v4l2_control>(argument));
        case UVCIOC_CTRL_QUERY:
            return useExtension(argument);
        default:
            return ENOTTY;
    }
}

int FakeCamera::enumerateFormats(v4l2_fmtdesc &answer) const
{
    if (answer.index >= formats.size())
        return EINVAL;
    answer.pixelformat = formats[answer.index].code;
    return 0;
}

int FakeCamera::enumerateSizes(v4l2_frmsizeenum &answer) const
{
    if (!enumeratesSizes)
        return ENOTTY;
    for (const Format &format : formats) {
        if (format.code != answer.pixel_format)
            continue;
        if (answer.index >= format.sizes.size())
            return EINVAL;
        answer.type = V4L2_FRMSIZE_TYPE_DISCRETE;
        answer.discrete = {format.sizes[answer.index].width, format.sizes[answer.index].height};
        return 0;
    }
    return EINVAL;
}

int FakeCamera::enumerateIntervals(v4l2_frmivalenum &answer) const
{
    for (const Format &format : formats) {
        if (format.code != answer.pixel_format)
            continue;
        for (const Size &size : format.sizes) {
            if (size.width != answer.width || size.height != answer.height)
                continue;
            if (answer.index >= size.rates.size())
                return EINVAL;
            answer.type = V4L2_FRMIVAL_TYPE_DISCRETE;
            answer.discrete = {1, size.rates[answer.index]};
            return 0;
        }
    }
    return EINVAL;
}

void FakeCamera::adjust(v4l2_pix_format &format) const
{
    const Format *found = &formats.front();
    for (const Format &other : formats) {
        if (other.code == format.pixelformat)
            found = &other;
    }
    const Size *size = &found->sizes.front();
    for (const Size &other : found->sizes) {
        if (other.width == format.width && other.height == format.height)
            size = &other;
    }
    format.pixelformat = found->code;
    format.width = m_changed ? size->width / 2 : size->width;
    format.height = size->height;
    const SourceFormat *known = findSourceFormat(found->code);
    const unsigned int rowBytes = known == nullptr ? 1 : known->rowBytes;
    format.bytesperline = rowBytes == 0 ? 0 : format.width * rowBytes + paddingBytes;
    format.sizeimage =
        rowBytes == 0
            ? format.width * format.height * 2
            : static_cast<unsigned int>(
                  known == nullptr ? format.bytesperline * format.height
                                   : sourceBytes(*known, format.bytesperline, format.height));
    format.sizeimage += spareBytes;
    format.sizeimage -= std::min(format.sizeimage, missingBytes);
}

int FakeCamera::requestBuffers(v4l2_requestbuffers &request)
{
    if (request.memory == V4L2_MEMORY_USERPTR && !takesUserMemory)
        return EINVAL;
    m_buffers.clear();
    m_claimed = request.count != 0;
    if (m_claimed)
        request.count = std::max(request.count, leastBuffers);
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
    if (buffer.index >= m_buffers.size() || buffer.memory != m_memory)
        return EINVAL;
    if (buffer.memory == V4L2_MEMORY_USERPTR) {
        if (buffer.length < m_format.sizeimage)
            return EINVAL;
        m_buffers[buffer.index].memory = reinterpret_cast<std::uint8_t *>(buffer.m.userptr);
        m_buffers[buffer.index].length = m_format.sizeimage;
    }
    m_empty.push_back(buffer.index);
    return 0;
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

int FakeCamera::useControl(unsigned long request, v4l2_control &control)
{
    const auto found = controls.find(control.id);
    if (found == controls.end())
        return EINVAL;
    if (request == VIDIOC_G_CTRL) {
        control.value = found->second;
        return 0;
    }
    if (control.value < 0 || control.value > 255)
        return ERANGE;
    found->second = control.value;
    return 0;
}

int FakeCamera::useExtension(void *argument)
{
    const auto &query = as<uvc_xu_control_query>(argument);
    if (query.unit != 4 || query.selector != 2)
        return ENOENT;
    if (query.query == UVC_GET_LEN) {
        if (query.size != 2)
            return EINVAL;
        query.data[0] = static_cast<std::uint8_t>(extension.size() & 0xffU);
        query.data[1] = static_cast<std::uint8_t>(extension.size() >> 8U);
        return 0;
    }
    if (query.size != extension.size())
        return ENOBUFS;
    if (query.query == UVC_GET_CUR)
        std::copy(extension.begin(), extension.end(), query.data);
    else if (query.query == UVC_SET_CUR)
        extension.assign(query.data, query.data + query.size);
    else
        return EINVAL;
    return 0;
}

}  // namespace nubrix
