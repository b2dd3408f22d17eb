/// @file
/// What the client layer throws.
#pragma once

#include <array>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "nubrix/context.h"

namespace nubrix {
namespace client {

/// An operation that failed. what() is a sentence that names the operation, the cause and a
/// remedy. The client layer throws this and what derives from it, and std::bad_alloc when
/// there is too little memory for something small; for frames and properties that is an Error, too.
class NUBRIX_API Error : public std::runtime_error {
public:
    /// What the functions below return. `operation` lives as long as the program.
    Error(const char *operation, int status, unsigned int code, const std::string &text)
        : std::runtime_error(text), m_operation(operation), m_status(status), m_code(code)
    {
    }

    /// The operation of NubrixBaseContext or RecordReader that failed, or of this layer.
    const char *operation() const noexcept { return m_operation; }
    /// What it returned; NubrixBaseContext explains the numbers.
    int status() const noexcept { return m_status; }
    /// A NubrixErrorCode, 0 for none. There is one for the process: when several threads fail at
    /// the same time it may be that of another one.
    unsigned int code() const noexcept { return m_code; }

private:
    const char *m_operation;
    int m_status;
    unsigned int m_code;
};

/// The camera is gone, or does not answer any more (status -9, -10).
class NUBRIX_API Unplugged final : public Error {
public:
    using Error::Error;
};

/// No frame came in time (status -11).
class NUBRIX_API Timeout final : public Error {
public:
    using Error::Error;
};

/// The camera, or the format of a frame, does not offer this (status -8).
class NUBRIX_API Unsupported final : public Error {
public:
    using Error::Error;
};

namespace detail {

struct FailureText {
    const char *operation;  // null for any
    int status;             // 0 for any
    unsigned int code;      // 0 for any
    const char *cause;
    const char *advice;
};

// The first row that fits is taken.
inline constexpr std::array<FailureText, 22> kFailureTexts = {{
    {"initialize", 0, 0, "a driver plug-in could not start", "the log has the reason"},
    {"openDevice", -2, 0, "another application has the camera",
     "end that one, and if it crashed wait some seconds"},
    {"openDevice", -4, NUBRIX_ERR_DEVICE_NOT_FOUND, "no camera is attached",
     "attach one, then run 'nubrix list'"},
    {"openDevice", -4, NUBRIX_ERR_OPEN_FAILED, "no such camera",
     "run 'nubrix list' for those that are attached"},
    {"openDevice", -9, 0, "the camera does not answer",
     "check its cable, its power and its address, or run 'nubrix doctor'"},
    {"openDevice", -12, 0, "no driver plug-in serves this camera",
     "install the one for its transport"},
    {"openDevice", 0, 0, "the driver could not open the camera", "run 'nubrix doctor'"},
    {"openStream", -1, NUBRIX_ERR_STREAM_HANDLE, "the camera could not make this stream",
     "run 'nubrix modes' for the streams that it has"},
    {"openStream", 0, NUBRIX_ERR_PREPROCESS, "the camera could not start this stream",
     "the log has the reason"},
    {"setFrameMode", 0, 0, "the camera refuses this mode",
     "choose one of Camera::modes, and stop the stream first"},
    {nullptr, -1, 0, "it failed", "the log has the reason"},
    {nullptr, -2, 0, "the library is not initialized, or the stream not started",
     "keep a Session, and start the stream"},
    {nullptr, -3, 0, "the camera is not open", "open it anew"},
    {nullptr, -4, 0, "not found, or a bad argument", "check the arguments"},
    {nullptr, -5, 0, "a limit is reached", "destroy streams or recorders that are not needed"},
    {nullptr, -8, 0, "the camera does not support it", "do without it"},
    {nullptr, -9, 0, "the camera is gone: unplugged, or its power or connection was lost",
     "open it anew when it is back"},
    {nullptr, -10, 0, "the camera is connected, but does not answer any more",
     "check its power, or unplug it and open it anew"},
    {nullptr, -11, 0, "no frame came in time", "wait longer, or run 'nubrix doctor'"},
    {nullptr, -12, 0, "no driver plug-in serves this camera", "install the one for its transport"},
    {nullptr, -13, 0, "no such stream or recorder", "start it anew"},
    {nullptr, 0, 0, "the driver reports a failure of its own", "the log has the reason"},
}};

inline bool fits(const FailureText &row, const char *operation, int status, unsigned int code)
{
    return (!row.operation || std::strcmp(row.operation, operation) == 0) &&
           (row.status == 0 || row.status == status) && (row.code == 0 || row.code == code);
}

/// "openDevice (usb:1-2): no such camera (status -4, error 0x80300208); run 'nubrix list' ...".
inline std::string describe(const char *operation, const std::string &subject, int status,
                            unsigned int code)
{
    std::array<char, 64> numbers{};
    std::snprintf(numbers.data(), numbers.size(),
                  code ? " (status %d, error 0x%08x)" : " (status %d, error %x)", status, code);
    std::string text = operation;
    if (!subject.empty())
        text += " (" + subject + ")";
    for (const FailureText &row : kFailureTexts) {
        if (fits(row, operation, status, code))
            return text + ": " + row.cause + numbers.data() + "; " + row.advice;
    }
    return text + numbers.data();
}

/// Throws the class that fits the status.
[[noreturn]] inline void fail(const char *operation, int status, unsigned int code,
                              const std::string &text)
{
    switch (status) {
        case -8:
            throw Unsupported(operation, status, code, text);
        case -9:
        case -10:
            throw Unplugged(operation, status, code, text);
        case -11:
            throw Timeout(operation, status, code, text);
        default:
            throw Error(operation, status, code, text);
    }
}

/// For a status that needs no text of its own.
[[noreturn]] inline void fail(const char *operation, const std::string &subject, int status)
{
    fail(operation, status, 0, describe(operation, subject, status, 0));
}

/// Calls `make`, which takes much memory from the heap; an Error when there is too little.
template <class Make>
auto allocating(const char *operation, const Make &make) -> decltype(make())
{
    try {
        return make();
    } catch (const std::bad_alloc &) {
    } catch (const std::length_error &) {
    }
    fail(operation, -1, 0, std::string(operation) + ": too little memory; release some frames");
}

}  // namespace detail

/// Makes a call of the library and throws when it fails, also for calls that this layer does not
/// offer. `operation` lives as long as the program; `subject` is a camera, a stream, a file.
template <class Call>
void require(const char *operation, const std::string &subject, const Call &call)
{
    // A success never clears it, so an old one would be taken for this call's.
    __atomic_store_n(ErrnoLocal(), 0U, __ATOMIC_RELAXED);
    if (const int status = call()) {
        const unsigned int code = __atomic_load_n(ErrnoLocal(), __ATOMIC_RELAXED);
        detail::fail(operation, status, code, detail::describe(operation, subject, status, code));
    }
}

}  // namespace client
}  // namespace nubrix
