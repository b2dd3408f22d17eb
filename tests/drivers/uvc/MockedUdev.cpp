// What the mocked system lacks of udev: whether it runs, and how far it has come with a device. As
// the program has these, the library's own are not used.
#include "tests/drivers/uvc/MockedUdev.h"

#include <libudev.h>

#include <map>
#include <mutex>

namespace nubrix {
namespace {

std::mutex s_lock;
bool s_running = true;  // everything below is under s_lock
std::map<std::string, std::optional<std::chrono::milliseconds>> s_ages;  // by path in /sys

/// A device of which no test says anything is an old one.
std::optional<std::chrono::milliseconds> ageOf(udev_device *device)
{
    const std::lock_guard<std::mutex> lock(s_lock);
    const auto found = s_ages.find(udev_device_get_syspath(device));
    return found == s_ages.end() ? std::chrono::hours(1) : found->second;
}

}  // namespace

MockedUdev::MockedUdev()
{
    setRunning(true);
    m_testbed = umockdev_testbed_new();
    EXPECT_TRUE(umockdev_in_mock_environment()) << "LD_PRELOAD lacks libumockdev-preload.so.0";
}

MockedUdev::~MockedUdev()
{
    g_object_unref(m_testbed);
    const std::lock_guard<std::mutex> lock(s_lock);
    s_ages.clear();
}

void MockedUdev::setRunning(bool running)
{
    const std::lock_guard<std::mutex> lock(s_lock);
    s_running = running;
}

void MockedUdev::setAge(const std::string &busPath, unsigned int number,
                        std::optional<std::chrono::milliseconds> age)
{
    const std::lock_guard<std::mutex> lock(s_lock);
    s_ages["/sys" + nodePath(busPath, number)] = age;
}

}  // namespace nubrix

extern "C" {

int udev_queue_get_udev_is_active(udev_queue * /*queue*/)
{
    const std::lock_guard<std::mutex> lock(nubrix::s_lock);
    return nubrix::s_running ? 1 : 0;
}

int udev_device_get_is_initialized(udev_device *device)
{
    return nubrix::ageOf(device) ? 1 : 0;
}

unsigned long long int udev_device_get_usec_since_initialized(udev_device *device)
{
    const std::chrono::microseconds age =
        nubrix::ageOf(device).value_or(std::chrono::milliseconds(0));
    return static_cast<unsigned long long int>(age.count());
}

}  // extern "C"
