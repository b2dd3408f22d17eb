#include "uvc/Report.h"

#include <cerrno>
#include <system_error>

namespace nubrix {

void report(const std::string &line)
{
    reportAs("NubrixUvcDriver", "nubrix usb camera", line);
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
        report(adviceFor(error, camera));
}

}  // namespace nubrix
