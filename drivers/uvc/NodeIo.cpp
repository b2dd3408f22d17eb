#include "uvc/NodeIo.h"

#include <fcntl.h>
#include <linux/usb/video.h>
#include <linux/uvcvideo.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace nubrix::uvc {

namespace {

int accessControl(const std::vector<NodeIo *> &nodes, unsigned long request, v4l2_control &control)
{
    for (NodeIo *node : nodes) {
        v4l2_control copy = control;
        const int error = node->control(request, &copy);
        if (error == EINVAL || error == ENOTTY)  // this node does not have the control
            continue;
        control = copy;
        // The control is write-only, read-only or governed by another control; it is not a matter
        // of permission.
        return error == EACCES ? kUnsupported : statusOf(error);
    }
    return kUnsupported;
}

int forward(NodeIo &node, const ExtensionRequest &request, std::uint8_t query, std::uint16_t size,
            unsigned char *data)
{
    uvc_xu_control_query copy = {};
    copy.unit = request.unit;
    copy.selector = request.selector;
    copy.query = query;
    copy.size = size;
    copy.data = data;
    const int error = node.control(UVCIOC_CTRL_QUERY, &copy);
    return error == ENOENT ? kUnsupported : statusOf(error);  // no such unit or control
}

int sizeOf(NodeIo &node, const ExtensionRequest &request, std::uint16_t &size)
{
    unsigned char answer[2] = {};
    if (const int status = forward(node, request, UVC_GET_LEN, sizeof answer, answer))
        return status;
    size = static_cast<std::uint16_t>(answer[0] | answer[1] << 8U);
    return kDone;
}

}  // namespace

int KernelNode::open(const std::string &path, std::unique_ptr<NodeIo> &node)
{
    const int descriptor = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return errno;
    node.reset(new KernelNode(descriptor));
    return 0;
}

int KernelNode::adopt(int descriptor, std::unique_ptr<NodeIo> &node)
{
    const int own = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (own < 0)
        return errno;
    node.reset(new KernelNode(own));
    return 0;
}

KernelNode::~KernelNode()
{
    ::close(m_descriptor);
}

int KernelNode::control(unsigned long request, void *argument)
{
    int result = 0;
    do {
        result = ::ioctl(m_descriptor, request, argument);
    } while (result < 0 && errno == EINTR);
    return result < 0 ? errno : 0;
}

void *KernelNode::map(std::size_t length, std::uint32_t offset)
{
    void *memory = ::mmap(nullptr, length, PROT_READ, MAP_SHARED, m_descriptor, offset);
    return memory == MAP_FAILED ? nullptr : memory;
}

void KernelNode::unmap(void *memory, std::size_t length)
{
    ::munmap(memory, length);
}

int statusOf(int error)
{
    switch (error) {
        case 0:
            return kDone;
        case EBUSY:
            return kWrongState;
        case ENODEV:
        case ENXIO:
        case ENOENT:
            return kGone;
        case ENOSPC:
        case ENOMEM:
        case EMFILE:
        case ENFILE:
            return kLimitReached;
        case EINVAL:
        case ERANGE:
        case ENOBUFS:
            return kBadArgument;
        case ENOTTY:
        case EOPNOTSUPP:
            return kUnsupported;
        case ETIME:
        case ETIMEDOUT:
            return kTimedOut;
        default:
            return kFailed;
    }
}

std::string adviceFor(int error, const std::string &camera)
{
    switch (error) {
        case EACCES:
        case EPERM:
            return "permission denied on " + camera + ": add the user to group video";
        case EBUSY:
            return camera + " is busy: end the other program that streams from it";
        case ENODEV:
        case ENXIO:
        case ENOENT:
            return camera + " is gone: check its cable, plug it in and open it again";
        case ENOSPC:
            return "not enough USB bandwidth for " + camera +
                   ": choose a smaller mode, or give it a port on another controller";
        case EIO:
        case EPROTO:
        case EPIPE:
        case ETIMEDOUT:
            return camera + " does not answer (" + std::generic_category().message(error) +
                   "): plug it in again";
        default:
            return camera + " failed: " + std::generic_category().message(error);
    }
}

void reportError(int error, const std::string &camera)
{
    if (error != ETIME)
        kReporter.error(adviceFor(error, camera));
}

int getControl(const std::vector<NodeIo *> &nodes, std::uint32_t id, std::int32_t &value)
{
    v4l2_control control = {id, 0};
    const int status = accessControl(nodes, VIDIOC_G_CTRL, control);
    if (status == kDone)
        value = control.value;
    return status;
}

int setControl(const std::vector<NodeIo *> &nodes, std::uint32_t id, std::int32_t value)
{
    v4l2_control control = {id, value};
    return accessControl(nodes, VIDIOC_S_CTRL, control);
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
        // These two queries have sizes of their own.
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
        return forward(node, request, request.query, size, data.data());
    }
    if (out == nullptr || outSize == nullptr || *outSize < size)
        return kBadArgument;
    *outSize = size;
    return forward(node, request, request.query, size, out);
}

}  // namespace nubrix::uvc
