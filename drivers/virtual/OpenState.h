// What an opened virtual camera shares with the threads of its streams.
#pragma once

#include <atomic>

#include "virtual/CameraClock.h"

namespace nubrix {

/// Outlives the device where the device is closed from within a frame callback of its own.
/// Thread-safe.
struct OpenState {
    CameraClock clock;
    std::atomic<bool> gone{false};  ///< the cable has been pulled; for good
};

}  // namespace nubrix
