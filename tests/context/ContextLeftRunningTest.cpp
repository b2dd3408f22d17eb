// A driver that runs on because another one failed after it.
#include <dlfcn.h>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

Counter *g_events;

void onEvent(const char *, const char *, unsigned int, void *)
{
    g_events->add();
}

/// A USB plug-in that makes a new driver each time it is loaded, and a network driver that fails.
class LeftRunning : public LibraryFixture {
protected:
    LeftRunning()
        : m_old(m_library.installDriver(kUvcDriver, "NewDriver")),
          m_net(m_library.installDriver(kNetDriver))
    {
        g_events = &m_events;
        m_library.expectToStayLoaded(kUvcDriver);
        m_old.setDevices({cameraRecord("usb:old")});
        m_net.results.initialize = -4;
        EXPECT_EQ(context().initialize(), -4);
        m_net.results.initialize = 0;
    }
    ~LeftRunning() override
    {
        m_old.shutDown();
        if (m_retried)
            m_retried->shutDown();
    }

    /// What the driver's own thread logs while it reports an event.
    std::vector<std::string> reporting(FakeDriver &driver)
    {
        const std::size_t before = m_log.lines().size();
        driver.announce("usb:x", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
        EXPECT_TRUE(driver.waitForAnnouncements());
        std::vector<std::string> texts;
        const std::vector<RecordedLine> lines = m_log.lines();
        for (std::size_t i = before; i < lines.size(); ++i)
            texts.push_back(lines[i].text);
        return texts;
    }
    FakeDriver &made(std::size_t number)
    {
        void *const plugin = dlopen((m_library.folder() + kUvcDriver).c_str(), RTLD_NOW);
        const auto driverOf =
            reinterpret_cast<FakeDriver *(*)(std::size_t)>(dlsym(plugin, "nubrixTestDriverOf"));
        FakeDriver &driver = *driverOf(number);
        dlclose(plugin);
        return driver;
    }
    /// initialize succeeds, with the second driver of the plug-in.
    void retry()
    {
        m_retried = &made(1);
        m_retried->setDevices({cameraRecord("usb:new")});
        ASSERT_EQ(context().initialize(), 0);
        ASSERT_EQ(context().setDeviceStateCallback(&onEvent, nullptr), 0);
        m_old.takeCalls();
        m_retried->takeCalls();
    }

    Counter m_events;
    FakeDriver &m_old;
    FakeDriver &m_net;
    FakeDriver *m_retried = nullptr;
};

TEST_F(LeftRunning, ReachesNoContextThatWasDestroyed)
{
    ASSERT_EQ(context().destroy(), -2);
    m_old.takeCalls();
    EXPECT_THAT(reporting(m_old), ElementsAre("")) << "it is dropped";
    EXPECT_THAT(m_old.calls(), IsEmpty());
}

TEST_F(LeftRunning, ReachesNoContextThatIsDeletedNorTheNextOne)
{
    ASSERT_EQ(context().destroy(), -2);
    m_library.deleteContext();
    EXPECT_THAT(reporting(m_old), IsEmpty());
    context();  // often at the same address
    EXPECT_THAT(reporting(m_old), IsEmpty()) << "the next one has loaded no drivers";
}

TEST_F(LeftRunning, ReportsNothingOnceAnotherDriverReplacesIt)
{
    ASSERT_EQ(context().destroy(), -2);
    retry();
    EXPECT_THAT(reporting(m_old), IsEmpty());
    EXPECT_EQ(m_events.value(), 0);
    EXPECT_THAT(reporting(*m_retried), Contains("get device list"));
    EXPECT_EQ(m_events.value(), 1);
    EXPECT_THAT(m_old.calls(), IsEmpty()) << "nobody asks it for its cameras";
    EXPECT_EQ(context().destroy(), 0);
    EXPECT_EQ(m_old.countCalls("driverDestroy"), 0U);
    EXPECT_EQ(m_retried->countCalls("driverDestroy"), 1U);
    EXPECT_THAT(reporting(m_old), IsEmpty()) << "its code is still there";
}

TEST_F(LeftRunning, ReportsNothingAfterARetryWithoutDestroy)
{
    retry();
    EXPECT_THAT(reporting(m_old), IsEmpty());
    EXPECT_THAT(reporting(*m_retried), Contains("get device list"));
    EXPECT_EQ(m_events.value(), 1);
    EXPECT_EQ(context().destroy(), 0);
    m_library.unloadOnceMore(kNetDriver);  // loaded twice, closed once
}

}  // namespace
}  // namespace nubrix
