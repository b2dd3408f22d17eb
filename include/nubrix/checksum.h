/// @file
/// Checksums of files and texts: CRC-32 and MD5.
#pragma once

#include <string>

#include "nubrix/export.h"

/// An MD5 digest on its way. MD5Init prepares it, MD5Update feeds it, MD5Final completes `digest`.
struct MD5_CTX {
    unsigned int count[2];     ///< bits fed so far, the lower word first
    unsigned int state[4];     ///< A, B, C, D
    unsigned char buffer[64];  ///< the begun block
    unsigned char digest[16];  ///< the result, filled by MD5Final
};

extern "C" {

/// Starts a digest (RFC 1321). Not thread-safe, as all three: one context, one thread at a time.
NUBRIX_API void MD5Init(MD5_CTX *context);
/// Adds `length` bytes. `data` may be null when there are none. Not thread-safe.
NUBRIX_API void MD5Update(MD5_CTX *context, unsigned char *data, unsigned int length);
/// Leaves the result in context->digest. A further digest begins with MD5Init. Not thread-safe.
NUBRIX_API void MD5Final(MD5_CTX *context);

}  // extern "C"

/// CRC-32/MPEG-2 of a file: polynomial 0x04c11db7, most significant bit first, from 0xffffffff,
/// without a final inversion; 0xffffffff for an empty file. The file counts in the size that it has
/// when it is opened; what can then not be read of it is left out.
///
/// Gives 1 on success, which is also logged, and 0, unlike the rest of the library, when the file
/// does not open: `crc` is left alone and the error number is NUBRIX_ERR_FILE_OPEN. Any thread; may
/// block.
NUBRIX_API int calculateCRC32(const std::string &path, unsigned int &crc);

/// MD5 of a file in lower-case hexadecimal digits: all 32 for length 32, the middle 16 (bytes 4 to
/// 11 of the digest) for length 16. The caller releases the zero-terminated text with delete[].
/// Null for any other length and when the file does not open. What cannot be read of the file is
/// left out. Any thread; may block.
NUBRIX_API char *MD5File(const std::string &path, unsigned char length);

/// MD5 of the bytes of `input`, fewer than 2^32, as MD5File writes it, into `out`; empty for a
/// length other than 16 and 32. Thread-safe.
NUBRIX_API void MD5String(std::string input, unsigned char length, std::string &out);
