#include "Launcher.h"

#include <gtest/gtest.h>

namespace nubrix::tool {
namespace {

using Words = std::vector<std::string>;

TEST(LauncherTest, TheWordsForTheVirtualCameraAreTakenOut)
{
    EXPECT_EQ(withoutVirtual({"--virtual", "list"}), Words({"list"}));
    EXPECT_EQ(withoutVirtual({"--virtual", "--scenario", "a.json", "list", "--json"}),
              Words({"list", "--json"}));
    EXPECT_EQ(withoutVirtual({"--scenario=a.json", "--virtual", "modes", "usb:x"}),
              Words({"modes", "usb:x"}));
}

TEST(LauncherTest, EverythingElseStaysInItsOrder)
{
    const Words words = {"--verbose", "stream", "--mode", "640x480@30", "--save", "/tmp/a b", ""};
    EXPECT_EQ(withoutVirtual(words), words);
}

TEST(LauncherTest, BehindTwoDashesNothingIsAnOption)
{
    EXPECT_EQ(withoutVirtual({"--virtual", "list", "--", "--virtual"}),
              Words({"list", "--", "--virtual"}));
}

}  // namespace
}  // namespace nubrix::tool
