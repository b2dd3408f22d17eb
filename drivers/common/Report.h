// Says what went wrong: one line for the user, one status for the library.
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

/// Writes one line, the cleaned text, to the library's log as an error of `module`. Without a log,
/// and wherever the environment variable NUBRIX_DRIVER_STDERR is set, it goes to stderr, after
/// `subject`. Thread-safe.
void reportAs(const char *module, const char *subject, const std::string &text);

/// Writes the line "<operation> failed: <what()>" of the exception that is being handled, as
/// reportAs does; module and subject are the plug-in's name ("NubrixUvcDriver"). Needs no memory of
/// its own; lines of more than 511 bytes are cut. Within catch handlers only. Thread-safe.
void reportFailure(const char *operation) noexcept;

}  // namespace nubrix
