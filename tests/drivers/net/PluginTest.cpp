#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "tests/Paths.h"
#include "tests/drivers/log/LoadedLogPlugin.h"
#include "tests/drivers/net/NetFixture.h"

namespace nubrix::net {
namespace {

using testing::ContainsRegex;

/// The plug-in as the library loads it, with an initialised driver.
class LoadedNetPlugin {
public:
    LoadedNetPlugin() : m_library(dlopen(paths::kNetPlugin, RTLD_NOW | RTLD_LOCAL))
    {
        if (m_library == nullptr)
            throw std::runtime_error(dlerror());
        const auto create =
            reinterpret_cast<NubrixBaseDriver *(*)()>(dlsym(m_library, "driverInstance"));
        m_destroy =
            reinterpret_cast<void (*)(NubrixBaseDriver *)>(dlsym(m_library, "driverDestroy"));
        if (create == nullptr || m_destroy == nullptr)
            throw std::runtime_error("not a driver");
        m_driver = create();
        EXPECT_EQ(m_driver->initialize(), 0);
    }
    ~LoadedNetPlugin()
    {
        m_destroy(m_driver);
        dlclose(m_library);
    }
    LoadedNetPlugin(const LoadedNetPlugin &) = delete;
    LoadedNetPlugin &operator=(const LoadedNetPlugin &) = delete;

    NubrixBaseDriver &driver() { return *m_driver; }

private:
    void *m_library;
    void (*m_destroy)(NubrixBaseDriver *) = nullptr;
    NubrixBaseDriver *m_driver = nullptr;
};

class NetPluginTest : public NetTest {};

TEST_F(NetPluginTest, ItWorksAgainAfterEachUnloading)
{
    const auto camera = serve(depthCamera());
    for (int round = 0; round < 3; ++round) {
        LoadedNetPlugin plugin;
        const OpenCamera device(plugin.driver(), "net:127.0.0.1");
        ASSERT_TRUE(device);
        PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
        ASSERT_EQ(stream.start(), 0);
        EXPECT_TRUE(stream.sink().await(2));
    }
}

TEST_F(NetPluginTest, ALineInTheLogHasTheLevelOfItsMeaning)
{
    setenv("NUBRIX_LOG_CONSOLE", "1", 1);
    const LoadedLogPlugin log;
    log.setLevel(0);
    SimulatedCameraSettings settings = depthCamera();
    settings.frameRate = 0.25;
    const std::string usual = "<pValue>FramePeriodReg</pValue><Min>1000</Min><Max>10000000</Max>";
    redescribe(settings,
               {{usual, "<pValue>FramePeriodReg</pValue><Min>4000000</Min><Max>10000000</Max>"}});
    const auto camera = serve(settings);
    LoadedNetPlugin plugin;
    const OpenCamera device(plugin.driver(), "net:127.0.0.1");
    ASSERT_TRUE(device);
    TestStream stream(*device, NUBRIX_STREAM_IR, 4);  // the driver holds 4 frames itself
    testing::internal::CaptureStderr();
    EXPECT_EQ(stream.start(), 0);
    EXPECT_EQ(TestStream(*device, NUBRIX_STREAM_IR).created(), -2);
    EXPECT_TRUE(stream.pool().awaitRefused(1));
    EXPECT_EQ(stream.stop(), 0);
    const std::string lines = testing::internal::GetCapturedStderr();
    const std::string subject = "\\] \\[NubrixNetDriver\\] .*net:127.0.0.1 ";
    EXPECT_THAT(lines, ContainsRegex("\\[milestone" + subject + "ir is set to 1 frames/s, but"));
    EXPECT_THAT(lines, ContainsRegex("\\[error" + subject + "has its ir stream open already"));
    EXPECT_THAT(lines, ContainsRegex("\\[error" + subject + "ir: frames dropped because the app"));
    unsetenv("NUBRIX_LOG_CONSOLE");
}

/// As the library does with a plug-in when another driver fails: it calls nothing but
/// driverInstance. `plugin` remains to be closed.
NubrixBaseDriver *loadInVain(void *&plugin)
{
    plugin = dlopen(paths::kNetPlugin, RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr)
        throw std::runtime_error(dlerror());
    return reinterpret_cast<NubrixBaseDriver *(*)()>(dlsym(plugin, "driverInstance"))();
}

std::ptrdiff_t openDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

TEST_F(NetPluginTest, DriversThatAreNeverInitializedLeaveNothingOpen)
{
    constexpr int kCycles = 1000;
    void *plugin = nullptr;
    const auto unloaded = [&] {
        loadInVain(plugin);
        dlclose(plugin);
    };
    unloaded();  // libraries that stay keep what they open
    const std::ptrdiff_t descriptors = openDescriptors();
    for (int i = 0; i < kCycles; ++i)
        unloaded();
    EXPECT_EQ(openDescriptors(), descriptors);

    void *kept = nullptr;
    NubrixBaseDriver *const driver = loadInVain(kept);
    const std::ptrdiff_t ofOne = openDescriptors();
    for (int i = 0; i < kCycles; ++i) {
        EXPECT_EQ(loadInVain(plugin), driver);
        dlclose(plugin);
    }
    EXPECT_EQ(openDescriptors(), ofOne);
    dlclose(kept);
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(NetPluginTest, ADriverThatRunsIsNotTheNextOne)
{
    const auto camera = serve(depthCamera());
    LoadedNetPlugin first;
    {
        LoadedNetPlugin second;
        EXPECT_NE(&second.driver(), &first.driver());
    }
    EXPECT_TRUE(OpenCamera(first.driver(), "net:127.0.0.1"));
}

}  // namespace
}  // namespace nubrix::net
