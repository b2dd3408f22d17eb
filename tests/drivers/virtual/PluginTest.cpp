// The plug-in as the library sees it: a file with two functions, in a folder of its own.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "nubrix/driver.h"
#include "tests/Paths.h"

namespace nubrix::virtual_camera {
namespace {

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

TEST(PluginTest, ReportsInTheLogWhereThereIsOne)
{
    ::setenv("NUBRIX_LOG_CONSOLE", "1", 1);
    ::setenv("NUBRIX_VIRTUAL_SCENARIO", "/nowhere/none.json", 1);
    void *library = ::dlopen(kPlugin.c_str(), RTLD_NOW);
    ASSERT_NE(library, nullptr) << ::dlerror();
    void *log = ::dlopen((kPlugin.parent_path() / "libNubrixLogDriver.so").c_str(), RTLD_NOW);
    ASSERT_NE(log, nullptr) << ::dlerror();
    auto *instance = reinterpret_cast<NubrixBaseDriver *(*)()>(::dlsym(library, "driverInstance"));
    auto *destroy =
        reinterpret_cast<void (*)(NubrixBaseDriver *)>(::dlsym(library, "driverDestroy"));
    NubrixBaseDriver *driver = instance();
    testing::internal::CaptureStderr();
    EXPECT_EQ(driver->initialize(), -4);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::ContainsRegex(
                    "error.*\\[NubrixVirtualDriver\\].* /nowhere/none.json: cannot be read"));
    destroy(driver);
    ::dlclose(log);
    ::dlclose(library);
    ::unsetenv("NUBRIX_VIRTUAL_SCENARIO");
    ::unsetenv("NUBRIX_LOG_CONSOLE");
}

TEST(PluginTest, ShowsTwoFunctionsOnly)
{
    void *library = ::dlopen(kPlugin.c_str(), RTLD_NOW);
    ASSERT_NE(library, nullptr) << ::dlerror();
    EXPECT_EQ(::dlsym(library, "_ZTVN6nubrix13VirtualDriverE"), nullptr);
    EXPECT_NE(::dlsym(library, "driverInstance"), nullptr);
    ::dlclose(library);
}

TEST(PluginTest, IsNextToLinksToTheLibraryAndItsLog)
{
    const auto folder = kPlugin.parent_path();
    EXPECT_EQ(kPlugin.filename(), "libNubrixUvcDriver.so");
    EXPECT_EQ(folder.filename(), "virtual");
    EXPECT_EQ(std::filesystem::read_symlink(folder / NUBRIX_LIBRARY_NAME),
              std::filesystem::path("../..") / NUBRIX_LIBRARY_NAME);
    EXPECT_EQ(std::filesystem::read_symlink(folder / "libNubrixLogDriver.so"),
              "../../libNubrixLogDriver.so");
}

}  // namespace
}  // namespace nubrix::virtual_camera
