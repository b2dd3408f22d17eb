// The checksums of a file as text and number, which the tests compare.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "nubrix/checksum.h"

namespace nubrix {

inline unsigned int crcOfFile(const std::string &path)
{
    unsigned int crc = 0;
    EXPECT_EQ(calculateCRC32(path, crc), 1);
    return crc;
}

inline std::string md5OfFile(const std::string &path)
{
    const std::unique_ptr<char[]> text(MD5File(path, 32));
    return text ? text.get() : "none";
}

}  // namespace nubrix
