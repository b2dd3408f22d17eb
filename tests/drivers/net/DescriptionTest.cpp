#include "net/Description.h"

#include <gtest/gtest.h>

#include <string>

namespace nubrix::net {
namespace {

bool isTooLarge(const std::string &bytes)
{
    return isDescriptionTooLarge(reinterpret_cast<const std::uint8_t *>(bytes.data()),
                                 bytes.size());
}

/// An archive whose directory states a content of so many bytes.
std::string archiveOf(std::uint32_t size)
{
    std::string bytes("PK\3\4", 4);
    bytes += "anything" + std::string("PK\1\2", 4) + std::string(42, '\0');
    for (unsigned int i = 0; i < 4; ++i)
        bytes[12 + 24 + i] = static_cast<char>(size >> 8 * i);
    return bytes;
}

TEST(DescriptionTest, ItsPlaceInTheCameraIsTaken)
{
    for (const char *told : {"Local:camera.xml;10000;2764", "local:///camera.xml;0x10000;0x2764",
                             "LOCAL:camera.xml;10000;2764?SchemaVersion=1.1.0"}) {
        const auto found = localDescription(told);
        ASSERT_TRUE(found) << told;
        EXPECT_EQ(found->place, 0x10000U);
        EXPECT_EQ(found->size, 0x2764U);
        EXPECT_FALSE(found->isArchive);
    }
    EXPECT_TRUE(localDescription("Local:Camera_1.ZIP;c0000000;1000")->isArchive);
}

TEST(DescriptionTest, WhatTheApplicationMustNotOpenIsRefused)
{
    for (const char *told :
         {"", "File:///dev/zero", "File:camera.xml;0;100", "http://192.168.7.20/camera.xml",
          "camera.xml;10000;2764", "Local:;10000;2764", "Local:camera;10000;2764",
          "Local:a/../b.xml;10000;2764"})
        EXPECT_FALSE(localDescription(told)) << told;
}

TEST(DescriptionTest, SizesThatNobodyHasMemoryForAreRefused)
{
    EXPECT_TRUE(localDescription("Local:a.xml;0;400000"));
    for (const char *told :
         {"Local:a.xml;0;400001", "Local:a.xml;0;f0000000", "Local:a.xml;0;100000000",
          "Local:a.xml;0;0", "Local:a.xml;ffffffff;2", "Local:a.xml;0", "Local:a.xml;0;-1",
          "Local:a.xml;g;10", "Local:a.xml;0;10x"})
        EXPECT_FALSE(localDescription(told)) << told;
}

TEST(DescriptionTest, AnArchiveThatGrowsIsTooLarge)
{
    EXPECT_FALSE(isTooLarge(archiveOf(kLargestDescription)));
    EXPECT_TRUE(isTooLarge(archiveOf(kLargestDescription + 1)));
    EXPECT_TRUE(isTooLarge(archiveOf(0xf0000000)));
    EXPECT_TRUE(isTooLarge(archiveOf(1).substr(0, 30)));  // cut
    EXPECT_FALSE(isTooLarge("<?xml version=\"1.0\"?>"));
    EXPECT_FALSE(isTooLarge(""));
}

}  // namespace
}  // namespace nubrix::net
