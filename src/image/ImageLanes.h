// The one source of all image kernels, put together; compiled once for each instruction set.
#pragma once

#include "image/ImageKernel.h"
#include "image/ReverseLanes.h"
#include "image/TurnLanes.h"
#include "image/YuvLanes.h"

namespace nubrix {

template <class Tile, class Reversed, class T>
inline constexpr TurnKernel<T> kTurnKernelOf = {&QuarterTurns<Tile, T>::clockwise90,
                                                &QuarterTurns<Tile, T>::anticlockwise90,
                                                &Reversed::reverse, &Reversed::mirrorRow};

/// TileLanes are those of quarter turns, which longer vectors do not make faster.
template <class Lanes, class TileLanes = Lanes>
inline constexpr ImageKernel kImageKernelOf = {
    &YuvRows<Lanes>::i420Row,
    &YuvRows<Lanes>::nv21Row,
    &YuvRows<Lanes>::yuyvGroups,
    &YuvRows<Lanes>::uyvyGroups,
    kTurnKernelOf<SquareTile<TileLanes, unsigned char>, ReversedPixels<Lanes, unsigned char>,
                  unsigned char>,
    kTurnKernelOf<SquareTile<TileLanes, BytePair>, ReversedPixels<Lanes, BytePair>, BytePair>,
    kTurnKernelOf<RgbTile<TileLanes>, ReversedRgb<Lanes>, RGB888Pixel>};

}  // namespace nubrix
