#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "nubrix/driver.h"
#include "tests/Paths.h"

namespace nubrix::uvc {
namespace {

using testing::AllOf;
using testing::Eq;
using testing::HasSubstr;
using testing::StartsWith;

/// The plug-in as the library loads it, and the log plug-in next to it.
class UvcPluginTest : public testing::Test {
protected:
    struct Closer {
        void operator()(void *library) const { dlclose(library); }
    };
    using Library = std::unique_ptr<void, Closer>;

    void SetUp() override
    {
        setenv("NUBRIX_LOG_CONSOLE", "1", 1);
        unsetenv("NUBRIX_DRIVER_STDERR");
        m_library = load(paths::kUvcPlugin);
        m_destroy = reinterpret_cast<Destroy>(dlsym(m_library.get(), "driverDestroy"));
        const auto create = reinterpret_cast<Create>(dlsym(m_library.get(), "driverInstance"));
        ASSERT_TRUE(create != nullptr && m_destroy != nullptr);
        m_driver = create();
        ASSERT_NE(m_driver, nullptr);
    }
    void TearDown() override
    {
        if (m_driver != nullptr)
            m_destroy(m_driver);
    }

    static Library load(const char *path)
    {
        Library library(dlopen(path, RTLD_NOW));
        EXPECT_NE(library, nullptr) << dlerror();
        return library;
    }
    /// The report about an invalid descriptor.
    std::string complaint()
    {
        NubrixBaseDevice *device = nullptr;
        testing::internal::CaptureStderr();
        EXPECT_EQ(m_driver->openDeviceByFd(0x1209, 1, -1, "a camera", &device), -4);
        return testing::internal::GetCapturedStderr();
    }

private:
    using Create = NubrixBaseDriver *(*)();
    using Destroy = void (*)(NubrixBaseDriver *);

    Library m_library;
    Destroy m_destroy = nullptr;
    NubrixBaseDriver *m_driver = nullptr;
};

constexpr const char *kPlain = "nubrix usb camera: a camera failed: Bad file descriptor\n";

TEST_F(UvcPluginTest, WithoutALogItReportsOnStderr)
{
    EXPECT_EQ(complaint(), kPlain);
}

TEST_F(UvcPluginTest, WithALogItReportsThere)
{
    const Library log = load(paths::kLogPlugin);
    const std::string line = complaint();
    EXPECT_THAT(line, AllOf(StartsWith("["), HasSubstr("error"), HasSubstr("[NubrixUvcDriver]"),
                            HasSubstr(" a camera failed: Bad file descriptor")));
    EXPECT_THAT(line.find('\n'), Eq(line.size() - 1)) << line;
}

TEST_F(UvcPluginTest, OnRequestItReportsInBothPlaces)
{
    const Library log = load(paths::kLogPlugin);
    setenv("NUBRIX_DRIVER_STDERR", "1", 1);
    EXPECT_THAT(complaint(), AllOf(HasSubstr("[NubrixUvcDriver]"), HasSubstr(kPlain)));
}

}  // namespace
}  // namespace nubrix::uvc
