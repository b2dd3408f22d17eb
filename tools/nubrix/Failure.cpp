#include "Failure.h"

#include <array>
#include <cstdio>
#include <cstring>
#include "nubrix/nubrix.h"

namespace nubrix::tool {

namespace {

struct Explanation {
    const char *operation;  // null: any
    int status;             // 0: any
    unsigned int error;     // 0: any
    const char *text;
    const char *hint;
};

constexpr const char *kRunList = "; run 'nubrix list'";

// The first matching row is used.
constexpr std::array<Explanation, 21> kExplanations = {{
    {"initialize", 0, 0, "a driver plug-in could not start", "; '--verbose' shows the log"},
    {"openDevice", -2, 0, "another application has the camera",
     "; close it there, or wait some seconds if it has crashed"},
    {"openDevice", -4, NUBRIX_ERR_DEVICE_NOT_FOUND, "no camera is attached", kRunList},
    {"openDevice", -4, NUBRIX_ERR_OPEN_FAILED, "no such camera", kRunList},
    {"openDevice", -9, 0, "the camera is unresponsive",
     "; check its cable, its power and its address; run 'nubrix doctor'"},
    {"openDevice", -12, 0, "no driver plug-in serves this camera", kRunList},
    {"openDevice", 0, 0, "the driver could not open the camera", "; '--verbose' shows the log"},
    {"openStream", -1, NUBRIX_ERR_STREAM_HANDLE, "the camera could not create this stream", ""},
    {"openStream", 0, NUBRIX_ERR_PREPROCESS, "the camera could not start this stream", ""},
    {"setFrameMode", 0, 0, "the camera rejected this mode", "; run 'nubrix modes'"},
    {nullptr, -1, 0, "the operation failed", "; '--verbose' shows the log"},
    {nullptr, -2, 0, "the library is not initialized, or the stream not started", ""},
    {nullptr, -3, 0, "the camera is not open", ""},
    {nullptr, -4, 0, "not found, or a bad argument", ""},
    {nullptr, -5, 0, "a limit is reached", ""},
    {nullptr, -8, 0, "the camera does not support it", ""},
    {nullptr, -9, 0, "the camera is gone: unplugged, or its power or connection was lost",
     kRunList},
    {nullptr, -10, 0, "the camera is connected, but has become unresponsive (keep-alive)", ""},
    {nullptr, -11, 0, "no frame arrived in time", ""},
    {nullptr, -13, 0, "no such stream", ""},
    {nullptr, 0, 0, "the driver reports a failure of its own", "; '--verbose' shows the log"},
}};

bool matches(const Explanation &explanation, const std::string &operation, int status,
             unsigned int error)
{
    const std::string name = operation.substr(0, operation.find(' '));
    return (explanation.operation == nullptr || name == explanation.operation) &&
           (explanation.status == 0 || explanation.status == status) &&
           (explanation.error == 0 || explanation.error == error);
}

}  // namespace

std::string describeFailure(const std::string &operation, int status, unsigned int errorNumber)
{
    std::array<char, 64> numbers{};
    std::snprintf(numbers.data(), numbers.size(),
                  errorNumber ? " (status %d, error 0x%08x)" : " (status %d, error %x)", status,
                  errorNumber);
    for (const Explanation &explanation : kExplanations)
        if (matches(explanation, operation, status, errorNumber))
            return operation + ": " + explanation.text + numbers.data() + explanation.hint;
    return operation + numbers.data();
}

int attempt(const std::string &operation, const std::function<int()> &call, std::string *problem)
{
    // A successful call does not clear the error number of an earlier failure.
    *ErrnoLocal() = 0;
    const int status = call();
    if (status != 0)
        *problem = describeFailure(operation, status, *ErrnoLocal());
    return status;
}

void require(const std::string &operation, const std::function<int()> &call)
{
    std::string problem;
    if (attempt(operation, call, &problem) != 0)
        throw Failure(problem);
}

}  // namespace nubrix::tool
