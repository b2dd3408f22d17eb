#include <gmock/gmock.h>

#include <algorithm>

#include "tests/tools/commands/LibraryFolder.h"

namespace nubrix::tool {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/// The checks of a report that have this name.
std::vector<nlohmann::json> checksOf(const nlohmann::json &report, const std::string &name)
{
    std::vector<nlohmann::json> found;
    std::copy_if(report["checks"].begin(), report["checks"].end(), std::back_inserter(found),
                 [&](const nlohmann::json &check) { return check["name"] == name; });
    return found;
}

long problemsOf(const nlohmann::json &report)
{
    return std::count_if(report["checks"].begin(), report["checks"].end(),
                         [](const nlohmann::json &check) { return check["state"] == "problem"; });
}

class DoctorCommandTest : public testing::Test {
protected:
    ToolResult examine(const Words &options = {}) const { return m_folder.run("doctor", options); }

    LibraryFolder m_folder;
};

TEST_F(DoctorCommandTest, TheVirtualCameraIsGood)
{
    const nlohmann::json report = runVirtual({"doctor", "--json"}).json();
    const auto camera = checksOf(report, "usb:virtual-VIRT0001");
    ASSERT_EQ(camera.size(), 1U);
    EXPECT_EQ(camera[0]["state"], "good");
    EXPECT_EQ(camera[0]["cure"], "");
    EXPECT_THAT(camera[0]["text"], StartsWith("Nubrix Virtual Camera, VIRT0001: color with "));
    const auto drivers = checksOf(report, "driver");
    ASSERT_EQ(drivers.size(), 2U);
    EXPECT_EQ(drivers[0]["state"], "good");
    EXPECT_THAT(drivers[0]["text"], EndsWith("/nubrix/virtual/libNubrixUvcDriver.so"));
    const auto log = checksOf(report, "log");
    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log[0]["state"], "good");
    for (const char *name : {"library", "kernel module", "udev", "udev rule", "permissions",
                             "socket buffers", "firewall"})
        EXPECT_EQ(checksOf(report, name).size(), 1U) << name;
}

TEST_F(DoctorCommandTest, TheExitStatusIs1WhenThereAreProblems)
{
    for (const ToolResult &result : {runVirtual({"doctor", "--json"}), examine({"--json"})}) {
        const nlohmann::json report = result.json();
        EXPECT_EQ(report["problems"], problemsOf(report));
        EXPECT_EQ(result.status, problemsOf(report) == 0 ? 0 : 1);
    }
}

TEST_F(DoctorCommandTest, AMissingDriverIsAProblemWithACure)
{
    const ToolResult result = examine();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("not loaded: " + m_folder.file("libNubrixUvcDriver.so") +
                                      ": no such file\n"));
    EXPECT_THAT(result.out,
                HasSubstr("-> install the package nubrix-drivers, or put it next to the "
                          "library\n"));
    EXPECT_THAT(result.out, HasSubstr("so the library logs nothing"));
    EXPECT_THAT(result.err, StartsWith("nubrix: problems found: "));
}

TEST_F(DoctorCommandTest, AFileThatIsNoDriverIsAProblem)
{
    m_folder.file("libNubrixUvcDriver.so", "not a library");
    const nlohmann::json report = examine({"--json"}).json();
    const auto drivers = checksOf(report, "driver");
    ASSERT_EQ(drivers.size(), 2U);
    EXPECT_EQ(drivers[0]["state"], "problem");
    EXPECT_THAT(drivers[0]["cure"], HasSubstr("belongs to the library"));
}

}  // namespace
}  // namespace nubrix::tool
