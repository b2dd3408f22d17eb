// Image kernels with NEON on 32-bit ARM.
#include "image/ImageLanes.h"
#include "image/TurnNeon.h"
#include "image/YuvNeon.h"

namespace nubrix {

namespace {

template <class Tile, class T>
constexpr TurnKernel<T> kTurns = kTurnKernelOf<Tile, NeonReversed<T>, T>;

}  // namespace

const YuvKernel kYuvNeon = {&YuvNeonRows::i420Rows, &YuvNeonRows::nv21Rows,
                            &YuvNeonRows::yuyvGroups, &YuvNeonRows::uyvyGroups};
const TurnKernels kTurnsNeon = {kTurns<NeonByteTile, unsigned char>, kTurns<NeonPairTile, BytePair>,
                                kTurns<NeonRgbTile, RGB888Pixel>};

}  // namespace nubrix
