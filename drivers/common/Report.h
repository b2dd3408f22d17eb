// How drivers report: one line for the user, one status for the library.
#pragma once

#include <string>

namespace nubrix {

/// What operations of drivers return.
constexpr int kDone = 0;
constexpr int kFailed = -1;
constexpr int kWrongState = -2;
constexpr int kBadArgument = -4;
constexpr int kLimitReached = -5;
constexpr int kUnsupported = -8;
constexpr int kGone = -9;
constexpr int kTimedOut = -11;

/// The names under which a driver reports. Each operation writes one line, the cleaned text, to the
/// library's log. Without a log, and wherever the environment variable NUBRIX_DRIVER_STDERR is set,
/// the line goes to stderr. Thread-safe.
struct Reporter {
    const char *module;   ///< in the log
    const char *subject;  ///< before the text on stderr

    void warning(const std::string &text) const;
    /// Something failed.
    void error(const std::string &text) const;
    /// Nothing failed, but the user must see it at the default threshold of the log.
    void milestone(const std::string &text) const;
};

/// Writes the line "<operation> failed: <what()>" of the exception that is being handled, as
/// an error; module and subject are the plug-in's name ("NubrixUvcDriver"). Needs no memory of
/// its own; lines of more than 511 bytes are cut. Within catch handlers only. Thread-safe.
void reportFailure(const char *operation) noexcept;

}  // namespace nubrix
