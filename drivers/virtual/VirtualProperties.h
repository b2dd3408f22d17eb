// The properties that the virtual camera has besides those of the library; README.md explains them.
#pragma once

#include "common/CameraProperties.h"

namespace nubrix {

/// A VirtualTruth record: the caller writes which pixel of which frame of a depth picture in the
/// current mode, the camera writes its true depth. Read only.
constexpr unsigned int kPropertyTruth = 0x5700;

/// 8 bytes: how far a recording has been played, in microseconds since its first frame; of the
/// frame that comes next. Writing it goes there with all streams.
constexpr unsigned int kPropertyPlayTime = 0x5800;

/// Plus a stream type: 4 bytes, the place among the frames of that stream of the one that comes
/// next. Writing it goes to that frame's time with all streams.
constexpr unsigned int kPropertyPlayFrame = 0x5900;

struct VirtualTruth {
    unsigned int frameIndex;
    unsigned int x;
    unsigned int y;
    unsigned int reserved;
    double depthMm;
};

static_assert(sizeof(VirtualTruth) == 24, "truth record");

}  // namespace nubrix
