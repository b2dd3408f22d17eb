// What the mocked system lacks of udev: whether it runs, how far it has come with a device, and
// errors. As the program has these functions, those of the libraries are not used, or only by them.
#include "tests/drivers/uvc/MockedUdev.h"

#include <dlfcn.h>
#include <libudev.h>
#include <sys/vfs.h>

#include <cerrno>
#include <map>
#include <mutex>

#ifdef __SANITIZE_THREAD__
extern "C" void __sanitizer_symbolize_pc(void *pc, const char *format, char *text,
                                         std::size_t size);
#endif

namespace nubrix {
namespace {

#ifdef __SANITIZE_THREAD__
// ThreadSanitizer opens the program's file when it first names a function, also one that it is told
// to leave alone. It does so through the mocked system, which may have a text of a failed dlsym to
// free by then, and that ends the process. So it is done before anything else.
const bool s_namesAreReady = [] {
    char text[64];
    __sanitizer_symbolize_pc(__builtin_return_address(0), "%f", text, sizeof text);
    return true;
}();
#endif

std::mutex s_lock;
bool s_running = true;  // everything below is under s_lock
std::map<std::string, std::optional<std::chrono::milliseconds>> s_ages;  // by path in /sys
int s_eventsToLose = 0;
int s_errorOfEvents = 0;
int s_scansToPass = 0;
int s_scansToFail = 0;

/// A device of which no test says anything is an old one.
std::optional<std::chrono::milliseconds> ageOf(udev_device *device)
{
    const std::lock_guard<std::mutex> lock(s_lock);
    const auto found = s_ages.find(udev_device_get_syspath(device));
    return found == s_ages.end() ? std::chrono::hours(1) : found->second;
}

bool takeOne(int &count)
{
    const std::lock_guard<std::mutex> lock(s_lock);
    return count > 0 && count-- > 0;
}

/// The function that the program's own one stands in for.
template <class Function>
Function *nextOf(Function * /*own*/, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
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
    s_eventsToLose = 0;
    s_scansToPass = 0;
    s_scansToFail = 0;
}

void MockedUdev::loseEvents(int count, int error)
{
    const std::lock_guard<std::mutex> lock(s_lock);
    s_eventsToLose = count;
    s_errorOfEvents = error;
}

void MockedUdev::failScans(int count, int passed)
{
    const std::lock_guard<std::mutex> lock(s_lock);
    s_scansToPass = passed;
    s_scansToFail = count;
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

udev_device *udev_monitor_receive_device(udev_monitor *monitor)
{
    static const auto next = nubrix::nextOf(&udev_monitor_receive_device, __func__);
    udev_device *device = next(monitor);
    if (device == nullptr || !nubrix::takeOne(nubrix::s_eventsToLose))
        return device;
    udev_device_unref(device);
    errno = nubrix::s_errorOfEvents;
    return nullptr;
}

int udev_enumerate_scan_devices(udev_enumerate *search)
{
    static const auto next = nubrix::nextOf(&udev_enumerate_scan_devices, __func__);
    const bool fails =
        !nubrix::takeOne(nubrix::s_scansToPass) && nubrix::takeOne(nubrix::s_scansToFail);
    return fails ? -EMFILE : next(search);
}

/// libudev asks this of each device. The mocked one looks the path of the descriptor up in static
/// memory: of two threads, the test's and the driver's, one may find no device then. Visible,
/// so that libudev calls it.
__attribute__((visibility("default"))) int fstatfs64(int descriptor,
                                                     struct statfs64 *status) noexcept
{
    static const auto next = nubrix::nextOf(&fstatfs64, __func__);
    static std::mutex one;
    const std::lock_guard<std::mutex> lock(one);
    return next(descriptor, status);
}

}  // extern "C"
