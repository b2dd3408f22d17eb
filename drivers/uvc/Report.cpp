#include "uvc/Report.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <system_error>

#include "nubrix/log_driver.h"

namespace nubrix {

namespace {

struct LibraryCloser {
    void operator()(void *library) const { dlclose(library); }
};

/// The log plug-in lies beside the driver; the library loads it, or does without.
bool writeToLog(const std::string &line)
{
    Dl_info self = {};
    if (dladdr(reinterpret_cast<void *>(&writeToLog), &self) == 0 || self.dli_fname == nullptr)
        return false;
    const std::string own = self.dli_fname;
    const std::string path = own.substr(0, own.rfind('/') + 1) + "libNubrixLogDriver.so";
    const std::unique_ptr<void, LibraryCloser> library(
        dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD));
    if (!library)
        return false;
    const auto write =
        reinterpret_cast<decltype(&nubrixLogSimplify)>(dlsym(library.get(), "nubrixLogSimplify"));
    if (write == nullptr)
        return false;
    write("NubrixUvcDriver", 3, line.c_str());
    return true;
}

}  // namespace

void report(const std::string &line)
{
    if (!writeToLog(line) || std::getenv("NUBRIX_DRIVER_STDERR") != nullptr)
        std::fprintf(stderr, "nubrix usb camera: %s\n", line.c_str());
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

}  // namespace nubrix
