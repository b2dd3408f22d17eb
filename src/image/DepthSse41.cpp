// The colouring of depth frames with SSE4.1.
#include "image/DepthLanes.h"

namespace nubrix {

namespace {

struct Sse41 {};

}  // namespace

const DepthKernel kDepthSse41 = kDepthKernelOf<Sse41>;

}  // namespace nubrix
