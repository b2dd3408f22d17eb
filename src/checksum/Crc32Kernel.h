// The CRC-32/MPEG-2 by carry-less multiplication, one form for each instruction set.
#pragma once

#include <cstddef>

namespace nubrix {

constexpr std::size_t kCrc32Piece = 16;

/// Folds `size` bytes, one or more times kCrc32Piece, into kCrc32Piece bytes: the CRC of these from
/// 0 is the CRC of all from `crc`.
using Crc32Fold = void(unsigned int crc, const unsigned char *data, std::size_t size,
                       unsigned char *folded);

Crc32Fold foldCrc32Clmul;   // 16 bytes at a time
Crc32Fold foldCrc32Avx2;    // 32
Crc32Fold foldCrc32Avx512;  // 64
Crc32Fold foldCrc32Neon;    // 16

/// The form for so many bytes at a time (see carrylessBytes); null when there is none.
Crc32Fold *crc32FoldOf(std::size_t bytes);

/// The CRC by this form; by crc32Plain for null.
unsigned int crc32By(Crc32Fold *fold, unsigned int crc, const unsigned char *data,
                     std::size_t size);

}  // namespace nubrix
