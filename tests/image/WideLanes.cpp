#include "tests/image/WideLanes.h"

#include "image/ImageLanes.h"

namespace nubrix {

namespace {

struct LanesOf16 : ByteLanes<LanesOf16, 16> {};
struct LanesOf32 : ByteLanes<LanesOf32, 32> {};
struct LanesOf64 : ByteLanes<LanesOf64, 64> {};

}  // namespace

const ImageKernel kImageOf16Bytes = kImageKernelOf<LanesOf16>;
const ImageKernel kImageOf64Bytes = kImageKernelOf<LanesOf64, LanesOf32>;

}  // namespace nubrix
