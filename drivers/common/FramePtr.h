// The owner of a reference to a frame of the pool.
#pragma once

#include <memory>

#include "nubrix/driver.h"

namespace nubrix {

struct FrameReleaser {
    void operator()(NubrixFrameRef *frame) const { frame->release(); }
};

using FramePtr = std::unique_ptr<NubrixFrameRef, FrameReleaser>;

}  // namespace nubrix
