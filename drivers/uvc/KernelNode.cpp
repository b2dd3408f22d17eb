#include "uvc/KernelNode.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cerrno>

namespace nubrix {

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

}  // namespace nubrix
