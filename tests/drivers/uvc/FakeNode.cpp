#include "tests/drivers/uvc/FakeNode.h"

#include <linux/usb/video.h>
#include <linux/uvcvideo.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tests/drivers/FakePool.h"
#include "uvc/FrameConverter.h"

namespace nubrix::uvc {

namespace {

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

void FakeCamera::captureAll(std::uint8_t value)
{
    capture({std::vector<std::uint8_t>(format().sizeimage + missingBytes, value)});
}

void FakeCamera::lose(unsigned int frames)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_sequence += frames;
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
        case VIDIOC_TRY_FMT:
        case VIDIOC_S_FMT:
            return useFormat(request, as<v4l2_format>(argument).fmt.pix);
        case VIDIOC_G_PARM:
        case VIDIOC_S_PARM:
            return useInterval(request, as<v4l2_streamparm>(argument).parm.capture.timeperframe);
        case VIDIOC_G_CTRL:
        case VIDIOC_S_CTRL:
            return useControl(request, as<v4l2_control>(argument));
        case UVCIOC_CTRL_QUERY:
            return useExtension(argument);
        default:
            return useBuffers(request, argument);
    }
}

int FakeCamera::useFormat(unsigned long request, v4l2_pix_format &format)
{
    if (request == VIDIOC_G_FMT)
        format = m_format;
    adjust(format);
    if (request == VIDIOC_S_FMT) {
        m_format = format;
        m_claimed = true;
    }
    return 0;
}

int FakeCamera::useInterval(unsigned long request, v4l2_fract &interval)
{
    if (request == VIDIOC_S_PARM)
        m_interval = givenRate == 0 ? interval : v4l2_fract{1, givenRate};
    interval = m_interval;
    return 0;
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

}  // namespace nubrix::uvc
