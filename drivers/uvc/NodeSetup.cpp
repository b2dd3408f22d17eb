#include "uvc/NodeSetup.h"

#include <cerrno>

namespace nubrix {

namespace {

int askFormat(NodeIo &node, unsigned long request, const typedefNubrixFrameMode &mode,
              const SourceMode &source, v4l2_pix_format &result)
{
    v4l2_format format = {};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    format.fmt.pix.width = mode.width;
    format.fmt.pix.height = mode.height;
    format.fmt.pix.pixelformat = source.format->code;
    format.fmt.pix.field = V4L2_FIELD_ANY;
    const int error = node.control(request, &format);
    result = format.fmt.pix;
    return error;
}

}  // namespace

int tryMode(NodeIo &node, const typedefNubrixFrameMode &mode, const SourceMode &source,
            v4l2_pix_format &result)
{
    return askFormat(node, VIDIOC_TRY_FMT, mode, source, result);
}

int setMode(NodeIo &node, const typedefNubrixFrameMode &mode, const SourceMode &source,
            v4l2_pix_format &result, v4l2_fract &interval)
{
    if (const int error = askFormat(node, VIDIOC_S_FMT, mode, source, result))
        return error;
    if (source.interval.denominator == 0)
        return 0;
    v4l2_streamparm rate = {};
    rate.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    rate.parm.capture.timeperframe = source.interval;
    const int error = node.control(VIDIOC_S_PARM, &rate);
    if (error == 0)
        interval = rate.parm.capture.timeperframe;
    // Some have rates and no way to choose one.
    return error == ENOTTY || error == EINVAL ? 0 : error;
}

bool isMode(const v4l2_pix_format &result, const typedefNubrixFrameMode &mode,
            const SourceMode &source)
{
    return result.width == mode.width && result.height == mode.height &&
           result.pixelformat == source.format->code;
}

}  // namespace nubrix
