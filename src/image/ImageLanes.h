// Assembles the parts of an image kernel from lanes; the header that the source of an instruction
// set includes.
#pragma once

#include "image/ImageKernel.h"
#include "image/TurnLanes.h"
#include "image/YuvLanes.h"

namespace nubrix {

template <class Tile, class Reversed, class T>
inline constexpr TurnKernel<T> kTurnKernelOf = {&QuarterTurns<Tile, T>::clockwise90,
                                                &QuarterTurns<Tile, T>::anticlockwise90,
                                                &Reversed::reverse, &Reversed::mirrorRow};

template <class Lanes>
inline constexpr YuvKernel kYuvKernelOf = {&YuvRows<Lanes>::i420Rows, &YuvRows<Lanes>::nv21Rows,
                                           &YuvRows<Lanes>::yuyvGroups,
                                           &YuvRows<Lanes>::uyvyGroups};

/// Quarter turns use TileLanes: longer vectors do not make them faster.
template <class Lanes, class TileLanes = Lanes>
inline constexpr TurnKernels kTurnKernelsOf = {
    kTurnKernelOf<SquareTile<TileLanes, unsigned char>, ReversedPixels<Lanes, unsigned char>,
                  unsigned char>,
    kTurnKernelOf<SquareTile<TileLanes, BytePair>, ReversedPixels<Lanes, BytePair>, BytePair>,
    kTurnKernelOf<RgbTile<TileLanes>, ReversedRgb<Lanes>, RGB888Pixel>};

}  // namespace nubrix
