#include "net/Genicam.h"

#include <gtest/gtest.h>

#include <string>

namespace nubrix::net {
namespace {

bool isTooLarge(const std::string &bytes)
{
    return isDescriptionTooLarge(reinterpret_cast<const std::uint8_t *>(bytes.data()),
                                 bytes.size());
}

/// An archive whose directory contains an entry of this size.
std::string archiveOf(std::uint32_t size)
{
    std::string bytes("PK\3\4", 4);
    bytes += "anything" + std::string("PK\1\2", 4) + std::string(42, '\0');
    for (unsigned int i = 0; i < 4; ++i)
        bytes[12 + 24 + i] = static_cast<char>(size >> 8 * i);
    return bytes;
}

TEST(DescriptionLocationTest, ALocationInTheCameraIsParsed)
{
    for (const char *location :
         {"Local:camera.xml;10000;2764", "local:///camera.xml;0x10000;0x2764",
          "LOCAL:camera.xml;10000;2764?SchemaVersion=1.1.0"}) {
        const auto found = parseLocation(location);
        ASSERT_TRUE(found) << location;
        EXPECT_EQ(found->address, 0x10000U);
        EXPECT_EQ(found->size, 0x2764U);
        EXPECT_FALSE(found->isArchive);
    }
    EXPECT_TRUE(parseLocation("Local:Camera_1.ZIP;c0000000;1000")->isArchive);
}

TEST(DescriptionLocationTest, LocationsOutsideTheCameraAreRefused)
{
    for (const char *location :
         {"", "File:///dev/zero", "File:camera.xml;0;100", "http://192.168.7.20/camera.xml",
          "camera.xml;10000;2764", "Local:;10000;2764", "Local:camera;10000;2764",
          "Local:a/../b.xml;10000;2764"})
        EXPECT_FALSE(parseLocation(location)) << location;
}

TEST(DescriptionLocationTest, TooLargeSizesAreRefused)
{
    EXPECT_TRUE(parseLocation("Local:a.xml;0;400000"));
    for (const char *location :
         {"Local:a.xml;0;400001", "Local:a.xml;0;f0000000", "Local:a.xml;0;100000000",
          "Local:a.xml;0;0", "Local:a.xml;ffffffff;2", "Local:a.xml;0", "Local:a.xml;0;-1",
          "Local:a.xml;g;10", "Local:a.xml;0;10x"})
        EXPECT_FALSE(parseLocation(location)) << location;
}

TEST(DescriptionLocationTest, AnArchiveWithTooLargeContentIsTooLarge)
{
    EXPECT_FALSE(isTooLarge(archiveOf(kLargestDescription)));
    EXPECT_TRUE(isTooLarge(archiveOf(kLargestDescription + 1)));
    EXPECT_TRUE(isTooLarge(archiveOf(0xf0000000)));
    EXPECT_TRUE(isTooLarge(archiveOf(1).substr(0, 30)));  // truncated
    EXPECT_FALSE(isTooLarge("<?xml version=\"1.0\"?>"));
    EXPECT_FALSE(isTooLarge(""));
}

constexpr int kAllowed = 64;

std::string feature(const std::string &name, const std::string &parts)
{
    return "<IntSwissKnife Name=\"" + name + "\">" + parts + "<Formula>1</Formula></IntSwissKnife>";
}

std::string variable(const std::string &name)
{
    return "<pVariable Name=\"V\">" + name + "</pVariable>";
}

std::string number(int i)
{
    return "F" + std::to_string(1000 + i);
}

/// A chain of features, whose names ascend or descend.
std::string chain(int length, bool ascends)
{
    std::string all;
    for (int i = 0; i < length; ++i) {
        const int next = ascends ? i + 1 : i - 1;
        const bool isLast = next < 0 || next == length;
        all += feature(number(i), variable(isLast ? "Nothing" : number(next)));
    }
    return all;
}

bool canCompute(const std::string &features)
{
    const ObjectPtr<ArvDevice> device(arv_fake_device_new("1", nullptr));
    const std::string text =
        "<?xml version=\"1.0\"?><RegisterDescription>" + features + "</RegisterDescription>";
    const ObjectPtr<ArvGc> description(arv_gc_new(device.get(), text.data(), text.size()));
    return description && isComputable(*description);
}

TEST(ComputableFeaturesTest, TheLimitOfAChainDoesNotDependOnTheOrderOfItsNames)
{
    for (const bool ascends : {true, false}) {
        EXPECT_TRUE(canCompute(chain(kAllowed, ascends))) << ascends;
        EXPECT_FALSE(canCompute(chain(kAllowed + 1, ascends))) << ascends;
        EXPECT_FALSE(canCompute(chain(100 * kAllowed, ascends))) << ascends;
    }
}

TEST(ComputableFeaturesTest, AFeatureMayDependOnManyOthersButNotOnTooMany)
{
    // Each level doubles the number of features that are evaluated.
    const auto pyramid = [](int levels) {
        std::string all = feature(number(0), variable("Nothing"));
        for (int i = 1; i < levels; ++i)
            all += feature(number(i), variable(number(i - 1)) + variable(number(i - 1)));
        return all;
    };
    EXPECT_TRUE(canCompute(pyramid(15)));
    EXPECT_FALSE(canCompute(pyramid(18)));
}

TEST(ComputableFeaturesTest, AFeatureThatDependsOnItselfIsRefused)
{
    EXPECT_FALSE(canCompute(feature("A", variable("A"))));
    EXPECT_FALSE(canCompute(feature("A", variable("B")) + feature("B", variable("A"))));
    EXPECT_TRUE(canCompute(feature("A", variable("B")) + feature("B", variable("C"))));
}

}  // namespace
}  // namespace nubrix::net
