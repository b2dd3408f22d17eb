// Assembles an image kernel from lanes; the only header that the source of an instruction set
// includes.
#pragma once

#include "image/DepthLanes.h"
#include "image/ImageKernel.h"
#include "image/TurnLanes.h"
#include "image/YuvLanes.h"

namespace nubrix {

template <class Tile, class Reversed, class T>
inline constexpr TurnKernel<T> kTurnKernelOf = {&QuarterTurns<Tile, T>::clockwise90,
                                                &QuarterTurns<Tile, T>::anticlockwise90,
                                                &Reversed::reverse, &Reversed::mirrorRow};

/// The kernel made of Lanes. Quarter turns use TileLanes: longer vectors do not make them faster.
template <class Lanes, class TileLanes = Lanes>
inline constexpr ImageKernel kImageKernelOf = {
    &YuvRows<Lanes>::i420Row,
    &YuvRows<Lanes>::nv21Row,
    &YuvRows<Lanes>::yuyvGroups,
    &YuvRows<Lanes>::uyvyGroups,
    kTurnKernelOf<SquareTile<TileLanes, unsigned char>, ReversedPixels<Lanes, unsigned char>,
                  unsigned char>,
    kTurnKernelOf<SquareTile<TileLanes, BytePair>, ReversedPixels<Lanes, BytePair>, BytePair>,
    kTurnKernelOf<RgbTile<TileLanes>, ReversedRgb<Lanes>, RGB888Pixel>,
    kDepthKernelOf<Lanes>};

}  // namespace nubrix
