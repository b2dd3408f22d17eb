// Says what went wrong: one line for the user, one status for the library.
#pragma once

#include <string>

#include "common/Report.h"

namespace nubrix {

/// Writes one line to the library's log as an error. Without a log, and wherever the environment
/// variable NUBRIX_DRIVER_STDERR is set, it goes to stderr. Thread-safe.
void report(const std::string &line);

/// The status for a system error: -2 busy, -9 gone, -5 no bandwidth or memory left, -4 refused
/// value, -8 not known to the camera, -11 not answered in time, else -1. Thread-safe.
int statusOf(int error);

/// What a system error of `camera` means and what to do about it, without a line end. Thread-safe.
std::string adviceFor(int error, const std::string &camera);

/// Reports that, unless NodeWorker has reported it: ETIME. Thread-safe.
void reportError(int error, const std::string &camera);

}  // namespace nubrix
