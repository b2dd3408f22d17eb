// The colours of depths in coloured point clouds.
#pragma once

#include "nubrix/types.h"

namespace nubrix {

inline constexpr unsigned int kColorBoardSize = 4096;
/// What follows the board: the colour of depths above 4094, and that of pixels without a point.
inline constexpr unsigned int kColorOfFar = kColorBoardSize;
inline constexpr unsigned int kColorOfNone = kColorBoardSize + 1;

/// The board by whole depths, from blue (near) through cyan, green and yellow to red; all zero
/// until it is filled. The two colours behind it are always there. Every colour lies at a multiple
/// of 16 bytes. Thread-safe.
const typedefNubrixRGBA *colorBoard();

/// Fills the board. Not thread-safe.
void onCreateColorBoard();

/// Logs and fills the board on the first call of the process; others wait until that is done.
/// Thread-safe.
void createColorBoardOnce();

}  // namespace nubrix
