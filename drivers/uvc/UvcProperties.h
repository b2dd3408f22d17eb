// The properties that USB cameras have besides those of the library; README.md explains them.
#pragma once

#include "common/CameraProperties.h"

namespace nubrix {

/// From here on a property's id is that of a control of the kernel's.
constexpr unsigned int kFirstControl = 0x00980000;

}  // namespace nubrix
