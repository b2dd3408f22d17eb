#include "uvc/NodeControls.h"

#include <linux/usb/video.h>
#include <linux/uvcvideo.h>
#include <linux/videodev2.h>
#include <cerrno>
#include <cstring>

#include "uvc/Report.h"

namespace nubrix {

namespace {

int ask(const std::vector<NodeIo *> &nodes, unsigned long request, v4l2_control &control)
{
    for (NodeIo *node : nodes) {
        v4l2_control asked = control;
        const int error = node->control(request, &asked);
        if (error == EINVAL || error == ENOTTY)  // not one of this node's
            continue;
        control = asked;
        // Written only, read only or governed by another control: not for want of permission.
        return error == EACCES ? kUnsupported : statusOf(error);
    }
    return kUnsupported;
}

int passOn(NodeIo &node, const ExtensionRequest &request, std::uint8_t query, std::uint16_t size,
           unsigned char *data)
{
    uvc_xu_control_query asked = {};
    asked.unit = request.unit;
    asked.selector = request.selector;
    asked.query = query;
    asked.size = size;
    asked.data = data;
    const int error = node.control(UVCIOC_CTRL_QUERY, &asked);
    return error == ENOENT ? kUnsupported : statusOf(error);  // no such unit or control
}

int sizeOf(NodeIo &node, const ExtensionRequest &request, std::uint16_t &size)
{
    unsigned char answer[2] = {};
    if (const int status = passOn(node, request, UVC_GET_LEN, sizeof answer, answer))
        return status;
    size = static_cast<std::uint16_t>(answer[0] | answer[1] << 8U);
    return kDone;
}

}  // namespace

int getControl(const std::vector<NodeIo *> &nodes, std::uint32_t id, std::int32_t &value)
{
    v4l2_control control = {id, 0};
    const int status = ask(nodes, VIDIOC_G_CTRL, control);
    if (status == kDone)
        value = control.value;
    return status;
}

int setControl(const std::vector<NodeIo *> &nodes, std::uint32_t id, std::int32_t value)
{
    v4l2_control control = {id, value};
    return ask(nodes, VIDIOC_S_CTRL, control);
}

int queryExtension(const std::vector<NodeIo *> &nodes, const unsigned char *in, unsigned int inSize,
                   unsigned char *out, unsigned int *outSize)
{
    if (in == nullptr || inSize < sizeof(ExtensionRequest))
        return kBadArgument;
    ExtensionRequest request = {in[0], in[1], in[2], in[3], 0};
    request.size = static_cast<std::uint16_t>(in[4] | in[5] << 8U);
    if (request.node >= nodes.size())
        return kBadArgument;
    NodeIo &node = *nodes[request.node];
    std::uint16_t size = request.size;
    if (size == 0) {
        // These two have sizes of their own.
        if (request.query == UVC_GET_LEN)
            size = 2;
        else if (request.query == UVC_GET_INFO)
            size = 1;
        else if (const int status = sizeOf(node, request, size))
            return status;
    }
    if ((request.query & 0x80U) == 0) {
        if (inSize - sizeof request < size)
            return kBadArgument;
        std::vector<unsigned char> data(in + sizeof request, in + sizeof request + size);
        if (outSize != nullptr)
            *outSize = 0;
        return passOn(node, request, request.query, size, data.data());
    }
    if (out == nullptr || outSize == nullptr || *outSize < size)
        return kBadArgument;
    *outSize = size;
    return passOn(node, request, request.query, size, out);
}

}  // namespace nubrix
