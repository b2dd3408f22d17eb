// The folding of a CRC that the vectorised forms share, with multiplications bit by bit.
#pragma once

#include "checksum/Crc32.h"

namespace nubrix {

/// 16, 32 and 64 bytes at a time; they run on every processor.
extern Crc32Fold *const kSoftCrc32Folds[3];

}  // namespace nubrix
