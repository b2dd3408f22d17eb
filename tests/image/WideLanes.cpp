#include "tests/image/WideLanes.h"

#include "image/ImageLanes.h"

namespace nubrix {

namespace {

struct LanesOf16 : ByteLanes<LanesOf16, 16> {};
struct LanesOf32 : ByteLanes<LanesOf32, 32> {};
struct LanesOf64 : ByteLanes<LanesOf64, 64> {};

constexpr YuvKernel kYuvOf16Bytes = kYuvKernelOf<LanesOf16, YuvColours<LanesOf16>>;
constexpr YuvKernel kYuvOf64Bytes = kYuvKernelOf<LanesOf64, YuvColours<LanesOf64>>;
constexpr TurnKernels kTurnsOf16Bytes = kTurnKernelsOf<LanesOf16>;
constexpr TurnKernels kTurnsOf64Bytes = kTurnKernelsOf<LanesOf64, LanesOf32>;

}  // namespace

const ImageKernel kImageOf16Bytes = {&kYuvOf16Bytes, &kTurnsOf16Bytes};
const ImageKernel kImageOf64Bytes = {&kYuvOf64Bytes, &kTurnsOf64Bytes};

}  // namespace nubrix
