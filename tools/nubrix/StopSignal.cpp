#include "StopSignal.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace nubrix::tool {

namespace {

std::atomic<int> g_event{-1};
std::atomic<bool> g_requested{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "used in a signal handler");

void wakeUp()
{
    const std::uint64_t one = 1;
    // A full counter wakes as well.
    [[maybe_unused]] const ssize_t written = write(g_event, &one, sizeof(one));
}

void onSignal(int)
{
    const int saved = errno;
    g_requested = true;
    wakeUp();
    errno = saved;
}

}  // namespace

StopSignal::StopSignal()
{
    const int event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (event < 0)
        throw std::runtime_error(std::string("eventfd: ") + std::strerror(errno));
    g_event = event;
    g_requested = false;
    struct sigaction action = {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &m_oldInterrupt);
    sigaction(SIGTERM, &action, &m_oldTerminate);
}

StopSignal::~StopSignal()
{
    sigaction(SIGINT, &m_oldInterrupt, nullptr);
    sigaction(SIGTERM, &m_oldTerminate, nullptr);
    close(g_event.exchange(-1));
}

bool StopSignal::requested() const
{
    return g_requested;
}

void StopSignal::wake() const
{
    wakeUp();
}

void StopSignal::wait(int milliseconds) const
{
    struct pollfd waiting = {g_event, POLLIN, 0};
    if (poll(&waiting, 1, milliseconds) > 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t taken = read(g_event, &count, sizeof(count));
    }
}

}  // namespace nubrix::tool
