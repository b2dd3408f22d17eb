// The plug-in as the library sees it: a file with two functions, in a folder of its own.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "nubrix/driver.h"
#include "tests/Paths.h"
#include "tests/TemporaryFolder.h"
#include "tests/record/RecordBytes.h"

namespace nubrix::virtual_camera {
namespace {

using testing::ContainsRegex;

const std::filesystem::path kPlugin = paths::kVirtualPlugin;

TEST(PluginTest, IsLoadedUsedAndUnloadedAgain)
{
    void *library = ::dlopen(kPlugin.c_str(), RTLD_NOW);
    ASSERT_NE(library, nullptr) << ::dlerror();
    auto *instance = reinterpret_cast<NubrixBaseDriver *(*)()>(::dlsym(library, "driverInstance"));
    auto *destroy =
        reinterpret_cast<void (*)(NubrixBaseDriver *)>(::dlsym(library, "driverDestroy"));
    ASSERT_NE(instance, nullptr);
    ASSERT_NE(destroy, nullptr);
    NubrixBaseDriver *driver = instance();
    ASSERT_NE(driver, nullptr);
    EXPECT_EQ(driver->initialize(), 0);
    typedefNubrixeviceAttribute records[60];
    unsigned int count = 60;
    EXPECT_EQ(driver->getDeviceList(records, &count), 0);
    EXPECT_EQ(count, 1U);
    destroy(driver);
    destroy(nullptr);
    EXPECT_EQ(::dlclose(library), 0);
    EXPECT_EQ(::dlopen(kPlugin.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr) << "it is still there";
}

/// Initialises the driver with a scenario while the log is loaded; returns what the log shows.
std::string logOfInitialize(const std::string &scenario, int expected)
{
    ::setenv("NUBRIX_LOG_CONSOLE", "1", 1);
    ::setenv("NUBRIX_VIRTUAL_SCENARIO", scenario.c_str(), 1);
    void *library = ::dlopen(kPlugin.c_str(), RTLD_NOW);
    void *log = ::dlopen((kPlugin.parent_path() / "libNubrixLogDriver.so").c_str(), RTLD_NOW);
    EXPECT_TRUE(library != nullptr && log != nullptr);
    auto *instance = reinterpret_cast<NubrixBaseDriver *(*)()>(::dlsym(library, "driverInstance"));
    auto *destroy =
        reinterpret_cast<void (*)(NubrixBaseDriver *)>(::dlsym(library, "driverDestroy"));
    NubrixBaseDriver *driver = instance();
    testing::internal::CaptureStderr();
    EXPECT_EQ(driver->initialize(), expected);
    std::string shown = testing::internal::GetCapturedStderr();
    destroy(driver);
    ::dlclose(log);
    ::dlclose(library);
    ::unsetenv("NUBRIX_VIRTUAL_SCENARIO");
    ::unsetenv("NUBRIX_LOG_CONSOLE");
    return shown;
}

TEST(PluginTest, LogsAnInvalidScenarioAsAnError)
{
    EXPECT_THAT(logOfInitialize("/nowhere/none.json", -4),
                ContainsRegex("\\[error\\] \\[NubrixVirtualDriver\\] .*/nowhere/none.json: cannot "
                              "be read"));
}

TEST(PluginTest, LogsATruncatedRecordingThatItPlaysAsAMilestone)
{
    const TemporaryFolder folder;
    SentRecord record;
    record.streamType = NUBRIX_STREAM_IR;
    record.width = 4;
    record.height = 3;
    record.pixels = std::string(12, 'x');
    const std::string bytes = bytesOf(record);
    folder.file("cut.bin", bytes + bytes.substr(0, bytes.size() - 1));
    const std::string scenario = folder.file(
        "scenario.json", R"({"source": "recording", "recording": {"file": "cut.bin"}})");
    EXPECT_THAT(
        logOfInitialize(scenario, 0),
        ContainsRegex("\\[milestone\\] \\[NubrixVirtualDriver\\] .*cut.bin\" is not complete"));
}

TEST(PluginTest, IsNextToLinksToTheLibraryAndItsLog)
{
    const auto folder = kPlugin.parent_path();
    EXPECT_EQ(kPlugin.filename(), "libNubrixUvcDriver.so");
    EXPECT_EQ(folder.filename(), "virtual");
    EXPECT_EQ(std::filesystem::read_symlink(folder / NUBRIX_LIBRARY_NAME),
              std::filesystem::path("../..") / NUBRIX_LIBRARY_NAME);
    EXPECT_EQ(std::filesystem::read_symlink(folder / "libNubrixLogDriver.so"),
              "../libNubrixLogDriver.so");
}

}  // namespace
}  // namespace nubrix::virtual_camera
