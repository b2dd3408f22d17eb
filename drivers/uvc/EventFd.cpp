#include "uvc/EventFd.h"

#include <sys/eventfd.h>
#include <unistd.h>
#include <cerrno>
#include <system_error>

namespace nubrix {

EventFd::EventFd() : m_descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (m_descriptor < 0)
        throw std::system_error(errno, std::generic_category(), "eventfd");
}

EventFd::~EventFd()
{
    ::close(m_descriptor);
}

void EventFd::set()
{
    ::eventfd_write(m_descriptor, 1);
}

void EventFd::clear()
{
    eventfd_t ignored = 0;
    ::eventfd_read(m_descriptor, &ignored);
}

}  // namespace nubrix
