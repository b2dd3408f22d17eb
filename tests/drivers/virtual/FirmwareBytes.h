// The bytes of firmware image files of virtual cameras.
#pragma once

#include <zlib.h>

#include <string>

#include "tests/record/RecordBytes.h"

namespace nubrix {

/// An image with a valid header and this version.
inline std::string firmwareImage(const std::string &firmware, unsigned int major = 2,
                                 unsigned int minor = 5, unsigned int patch = 7)
{
    std::string bytes = "NUBRIXFW";
    for (const unsigned int number : {major, minor, patch, 0U})
        appendLittle(bytes, number, 2);
    appendLittle(bytes, firmware.size(), 4);
    appendLittle(bytes,
                 crc32(0, reinterpret_cast<const unsigned char *>(firmware.data()),
                       static_cast<unsigned int>(firmware.size())),
                 4);
    appendLittle(bytes, 0, 8);
    return bytes + firmware;
}

}  // namespace nubrix
