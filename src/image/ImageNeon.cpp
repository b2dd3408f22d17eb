// Image kernels with NEON on 32-bit ARM.
#include "image/DepthNeon.h"
#include "image/ImageLanes.h"
#include "image/TurnNeon.h"
#include "image/YuvNeon.h"

namespace nubrix {

namespace {

struct NeonLanes;  // gives DepthShares functions of this source

template <class Tile, class T>
constexpr TurnKernel<T> kTurns = kTurnKernelOf<Tile, NeonReversed<T>, T>;

}  // namespace

const ImageKernel kImageNeon = {
    &YuvNeonRows::i420Row,
    &YuvNeonRows::nv21Row,
    &YuvNeonRows::yuyvGroups,
    &YuvNeonRows::uyvyGroups,
    kTurns<NeonByteTile, unsigned char>,
    kTurns<NeonPairTile, BytePair>,
    kTurns<NeonRgbTile, RGB888Pixel>,
    {&DepthShares<NeonLanes>::range, &DepthShares<NeonLanes>::shares, &NeonDepthPixels::colours}};

}  // namespace nubrix
