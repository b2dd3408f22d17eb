// The colouring of depth frames with NEON on 32-bit ARM.
#include "image/DepthLanes.h"

namespace nubrix {

namespace {

struct Neon {};

}  // namespace

const DepthKernel kDepthNeon = kDepthKernelOf<Neon>;

}  // namespace nubrix
