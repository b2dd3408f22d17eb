#include "doctor/LibraryChecks.h"

#include "tests/tools/doctor/FakeMachine.h"

namespace nubrix::tool {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using State = Finding::State;

TEST(LibraryChecksTest, TheDriverOfUsbCamerasIsRequired)
{
    EXPECT_THAT(
        checkPlugins({{kUsbPlugin, true, false, "/lib/a.so"}, {kNetPlugin, false, true, "no"}}),
        ElementsAre(finds(State::kGood, "/lib/a.so"),
                    finds(State::kNote, kNetPlugin,
                          "if you need it, install the package nubrix-driver-net, or put it next "
                          "to the library")));
    EXPECT_THAT(checkPlugins({{kUsbPlugin, false, true, "no such file"},
                              {kNetPlugin, false, false, "broken"}}),
                ElementsAre(finds(State::kProblem, "no such file",
                                  "install the package nubrix-drivers, or put it next to the "
                                  "library"),
                            finds(State::kProblem, "broken", "belongs to the library")));
}

TEST(LibraryChecksTest, PathsAreShownWithoutDetours)
{
    const TemporaryFolder folder;
    fs::create_directories(folder.file("bin"));
    fs::create_directories(folder.file("lib/nubrix"));
    EXPECT_EQ(tidyPath(folder.file("bin/../lib/a.so")), folder.file("lib/a.so"));
    EXPECT_EQ(tidyPath(folder.file("lib/./nubrix//a.so")), folder.file("lib/nubrix/a.so"));
    EXPECT_EQ(tidyPath(folder.file("lib/a.so")), folder.file("lib/a.so"));
    EXPECT_EQ(tidyPath("a.so"), "a.so");
    EXPECT_EQ(tidyPath(""), "");
}

TEST(LibraryChecksTest, ADetourThroughALinkStays)
{
    const TemporaryFolder folder;
    fs::create_directories(folder.file("opt/tool/bin"));
    fs::create_directories(folder.file("opt/tool/lib"));
    fs::create_directories(folder.file("lib"));
    fs::create_directory_symlink("opt/tool/bin", folder.file("bin"));
    EXPECT_EQ(tidyPath(folder.file("bin/../lib/a.so")), folder.file("bin/../lib/a.so"));
}

TEST(LibraryChecksTest, SettingsAreNextToTheNetworkDriverAndInTheSystemsFolder)
{
    const std::string plugin = pluginPath(kNetPlugin);
    EXPECT_THAT(netSettingsPaths(),
                ElementsAre(plugin.substr(0, plugin.rfind('/')) + "/nubrixNet.ini",
                            "/etc/nubrix/nubrixNet.ini"));
    EXPECT_EQ(plugin.find("/../"), std::string::npos);
}

}  // namespace
}  // namespace nubrix::tool
