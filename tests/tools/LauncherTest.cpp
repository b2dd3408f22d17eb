#include "Launcher.h"

#include <gtest/gtest.h>

namespace nubrix::tool {
namespace {

using Arguments = std::vector<std::string>;

TEST(LauncherTest, TheOptionsOfTheVirtualCameraAreRemoved)
{
    EXPECT_EQ(withoutVirtual({"--virtual", "list"}), Arguments({"list"}));
    EXPECT_EQ(withoutVirtual({"--virtual", "--scenario", "a.json", "list", "--json"}),
              Arguments({"list", "--json"}));
    EXPECT_EQ(withoutVirtual({"--scenario=a.json", "--virtual", "modes", "usb:x"}),
              Arguments({"modes", "usb:x"}));
}

TEST(LauncherTest, OtherArgumentsKeepTheirOrder)
{
    const Arguments arguments = {"--verbose", "stream",   "--mode", "640x480@30",
                                 "--save",    "/tmp/a b", ""};
    EXPECT_EQ(withoutVirtual(arguments), arguments);
}

TEST(LauncherTest, AfterTwoDashesNothingIsAnOption)
{
    EXPECT_EQ(withoutVirtual({"--virtual", "list", "--", "--virtual"}),
              Arguments({"list", "--", "--virtual"}));
}

}  // namespace
}  // namespace nubrix::tool
