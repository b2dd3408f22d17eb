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

/// Writes one line, the cleaned text, to the library's log as an error of `module`. Without a log,
/// and wherever the environment variable NUBRIX_DRIVER_STDERR is set, it goes to stderr, after
/// `subject`. Thread-safe.
void reportAs(const char *module, const char *subject, const std::string &text);

}  // namespace nubrix
