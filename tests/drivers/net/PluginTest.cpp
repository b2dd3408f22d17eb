#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cstdlib>

#include "tests/Paths.h"
#include "tests/drivers/net/NetFixture.h"

namespace nubrix::net {
namespace {

/// The plug-in as the library loads it.
class NetPluginTest : public NetTest {};

TEST_F(NetPluginTest, ItWorksAgainAfterEachUnloading)
{
    const auto camera = serve(depthCamera());
    for (int round = 0; round < 3; ++round) {
        void *library = dlopen(paths::kNetPlugin, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        const auto create =
            reinterpret_cast<NubrixBaseDriver *(*)()>(dlsym(library, "driverInstance"));
        const auto destroy =
            reinterpret_cast<void (*)(NubrixBaseDriver *)>(dlsym(library, "driverDestroy"));
        ASSERT_TRUE(create != nullptr && destroy != nullptr);
        NubrixBaseDriver *driver = create();
        ASSERT_NE(driver, nullptr);
        ASSERT_EQ(driver->initialize(), 0);
        {
            const OpenCamera device(*driver, "net:127.0.0.1");
            ASSERT_TRUE(device);
            PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
            ASSERT_EQ(stream.start(), 0);
            EXPECT_TRUE(stream.sink().await(2));
        }
        destroy(driver);
        dlclose(library);
    }
}

}  // namespace
}  // namespace nubrix::net
