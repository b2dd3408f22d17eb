// What the client layer throws.
#pragma once

#include <array>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include "nubrix/context.h"

namespace nubrix {
namespace client {

/// An operation that failed. what() is a sentence that names the operation, the cause and, where
/// there is something to do about it, what to do. The client layer throws this and what derives
/// from it, and nothing else.
class Error : public std::runtime_error {
public:
    /// `operation` lives as long as the program.
    Error(const char *operation, int status, unsigned int code, const std::string &text)
        : std::runtime_error(text), m_operation(operation), m_status(status), m_code(code)
    {
    }

    /// The operation of NubrixBaseContext or RecordReader that failed, or of this layer.
    const char *operation() const noexcept { return m_operation; }
    /// What it returned; NubrixBaseContext says what the numbers mean.
    int status() const noexcept { return m_status; }
    /// A NubrixErrorCode, 0 for none. One for the process: when several threads fail at a time it
    /// may be another one's.
    unsigned int code() const noexcept { return m_code; }

private:
    const char *m_operation;
    int m_status;
    unsigned int m_code;
};

/// The camera is gone, or does not answer any more (status -9, -10).
class Unplugged final : public Error {
public:
    using Error::Error;
};

/// Nothing came in time (status -11).
class Timeout final : public Error {
public:
    using Error::Error;
};

/// The camera, or the kind of frame, has no such thing (status -8).
class Unsupported final : public Error {
public:
    using Error::Error;
};

namespace detail {

struct FailureText {
    const char *operation;  // null for any
    int status;             // 0 for any
    unsigned int code;      // 0 for any
    const char *text;
    const char *hint;
};

// The first row that fits is taken.
constexpr std::array<FailureText, 21> kFailureTexts = {{
    {"initialize", 0, 0, "a driver plug-in could not start", "; '--verbose' shows the log"},
    {"openDevice", -2, 0, "another application has the camera",
     "; end that one, and after a crash of it wait some seconds"},
    {"openDevice", -4, NUBRIX_ERR_DEVICE_NOT_FOUND, "no camera is attached", "; run 'nubrix list'"},
    {"openDevice", -4, NUBRIX_ERR_OPEN_FAILED, "no such camera", "; run 'nubrix list'"},
    {"openDevice", -9, 0, "the camera does not answer",
     "; check its cable, its power and its address; run 'nubrix doctor'"},
    {"openDevice", -12, 0, "no driver plug-in serves this camera", "; run 'nubrix list'"},
    {"openDevice", 0, 0, "the driver could not open the camera", "; '--verbose' shows the log"},
    {"openStream", -1, NUBRIX_ERR_STREAM_HANDLE, "the camera could not make this stream", ""},
    {"openStream", 0, NUBRIX_ERR_PREPROCESS, "the camera could not start this stream", ""},
    {"setFrameMode", 0, 0, "the camera refuses this mode", "; run 'nubrix modes'"},
    {nullptr, -1, 0, "it failed", "; '--verbose' shows the log"},
    {nullptr, -2, 0, "the library is not initialized, or the stream not started", ""},
    {nullptr, -3, 0, "the camera is not open", ""},
    {nullptr, -4, 0, "not found, or a bad argument", ""},
    {nullptr, -5, 0, "a limit is reached", ""},
    {nullptr, -8, 0, "the camera does not support it", ""},
    {nullptr, -9, 0, "the camera is gone: unplugged, or its power or connection was lost",
     "; run 'nubrix list'"},
    {nullptr, -10, 0, "the camera is connected, but does not answer any more (keep-alive)", ""},
    {nullptr, -11, 0, "no frame came in time", ""},
    {nullptr, -13, 0, "no such stream", ""},
    {nullptr, 0, 0, "the driver reports a failure of its own", "; '--verbose' shows the log"},
}};

inline bool fits(const FailureText &row, const char *operation, int status, unsigned int code)
{
    return (!row.operation || std::strcmp(row.operation, operation) == 0) &&
           (row.status == 0 || row.status == status) && (row.code == 0 || row.code == code);
}

/// "openDevice (usb:1-2): no such camera (status -4, error 0x80300208); run 'nubrix list'".
inline std::string describe(const char *operation, const std::string &about, int status,
                            unsigned int code)
{
    std::array<char, 64> numbers{};
    std::snprintf(numbers.data(), numbers.size(),
                  code ? " (status %d, error 0x%08x)" : " (status %d, error %x)", status, code);
    const std::string subject = about.empty() ? operation : operation + (" (" + about + ")");
    for (const FailureText &row : kFailureTexts) {
        if (fits(row, operation, status, code))
            return subject + ": " + row.text + numbers.data() + row.hint;
    }
    return subject + numbers.data();
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

/// Makes a call of the library and throws when it fails. `about` is what it is about: a stream, a
/// file.
template <class Call>
void require(const char *operation, const std::string &about, const Call &call)
{
    // A success never clears it, so an old one would be taken for this call's.
    __atomic_store_n(ErrnoLocal(), 0U, __ATOMIC_RELAXED);
    if (const int status = call()) {
        const unsigned int code = __atomic_load_n(ErrnoLocal(), __ATOMIC_RELAXED);
        fail(operation, status, code, describe(operation, about, status, code));
    }
}

}  // namespace detail
}  // namespace client
}  // namespace nubrix
