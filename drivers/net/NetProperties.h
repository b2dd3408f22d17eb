// The properties that network cameras have besides those of the library; README.md explains them.
#pragma once

#include "common/CameraProperties.h"

namespace nubrix::net {

/// 4 bytes: 1 when incomplete frames are delivered, with a flag, 0 when they are dropped. Taken
/// when a stream starts.
constexpr unsigned int kPropertyIncomplete = 0x5b00;

/// From here on a property's id stands for a feature of the camera.
constexpr unsigned int kFirstFeature = 0x5c00;
constexpr unsigned int kFeatureCount = 14;

}  // namespace nubrix::net
