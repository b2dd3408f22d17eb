// The plug-in as the library meets it: a file with two functions, in a folder of its own.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "nubrix/driver.h"
#include "tests/Paths.h"

namespace nubrix {
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

TEST(PluginTest, ShowsTwoFunctionsOnly)
{
    void *library = ::dlopen(kPlugin.c_str(), RTLD_NOW);
    ASSERT_NE(library, nullptr) << ::dlerror();
    EXPECT_EQ(::dlsym(library, "_ZTVN6nubrix13VirtualDriverE"), nullptr);
    EXPECT_NE(::dlsym(library, "driverInstance"), nullptr);
    ::dlclose(library);
}

TEST(PluginTest, LiesBesideLinksToTheLibraryAndItsLog)
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
}  // namespace nubrix
