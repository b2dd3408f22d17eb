// The conversion to point clouds in vectors of any length, made of what the compiler targets
// anyway.
#pragma once

#include "cloud/PointCloudKernel.h"

namespace nubrix {

/// The source that all kernels share, with 4, 8 and 16 lanes; they run on every processor.
extern const CloudKernel kCloudOf4Lanes;
extern const CloudKernel kCloudOf8Lanes;
extern const CloudKernel kCloudOf16Lanes;

}  // namespace nubrix
