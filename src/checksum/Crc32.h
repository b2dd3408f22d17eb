// CRC-32/MPEG-2 of bytes in memory: by tables, or by carry-less multiplication in a form for each
// instruction set.
#pragma once

#include <cstddef>

namespace nubrix {

constexpr unsigned int kCrc32Start = 0xffffffff;

/// Continues the CRC of a message over `size` more bytes; `crc` is the CRC so far, kCrc32Start at
/// first. Uses the fastest form that the processor supports. Thread-safe.
unsigned int crc32(unsigned int crc, const void *data, std::size_t size);

/// The same by tables: most significant bit first, polynomial 0x04c11db7, no final inversion. The
/// other forms are tested against it. Thread-safe.
unsigned int crc32Plain(unsigned int crc, const unsigned char *data, std::size_t size);

constexpr std::size_t kCrc32Piece = 16;

/// Folds `size` bytes, a multiple of kCrc32Piece and not 0, into kCrc32Piece bytes: the CRC of
/// these from 0 is the CRC of all of them from `crc`.
using Crc32Fold = void(unsigned int crc, const unsigned char *data, std::size_t size,
                       unsigned char *folded);

Crc32Fold foldCrc32Clmul;   // 16 bytes at a time
Crc32Fold foldCrc32Avx2;    // 32
Crc32Fold foldCrc32Avx512;  // 64
Crc32Fold foldCrc32Neon;    // 16

/// The form that folds this many bytes at a time (see carrylessBytes); null when there is none.
Crc32Fold *crc32FoldOf(std::size_t bytes);

/// The CRC by this form; by crc32Plain if it is null.
unsigned int crc32By(Crc32Fold *fold, unsigned int crc, const unsigned char *data,
                     std::size_t size);

}  // namespace nubrix
