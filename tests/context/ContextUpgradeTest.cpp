// Firmware upgrades and the hooks for cameras on GMSL links.
#include "tests/context/ContextFixture.h"
#include "tests/fakes/HangGuard.h"

namespace nubrix {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class Upgrade : public DeviceFixture {
protected:
    Upgrade() { m_usb.hasUpgrader = true; }

    int start(const char *file = "firmware")
    {
        return context().deviceStartUpgradeOffLine(m_device, &m_callbacks, file);
    }
    static void onProgress(NubrixDevice *, int percent, void *user)
    {
        *static_cast<int *>(user) = percent;
    }
    static void onState(const char *, const char *, unsigned int, void *user)
    {
        ++*static_cast<int *>(user);
    }

    int m_percent = 0;
    typedefNubrixUpgradeCallbacks m_callbacks = {&onProgress, nullptr, &m_percent};
};

TEST_F(Upgrade, GoesToTheUpgraderOfTheDevice)
{
    EXPECT_EQ(start("new.img"), 0);
    EXPECT_THAT(m_usb.calls(), ElementsAre("usb:1 createUpgradeIntance", "setUpgradeStatus 1",
                                           "upgrader usb:1 start new.img"));
    EXPECT_EQ(m_percent, 42) << "the callbacks go through unread";
}

TEST_F(Upgrade, TheUpgradersResultIsTheAnswer)
{
    m_usb.results.upgradeStart = -7;
    EXPECT_EQ(start(), -7);
}

// The upgrader of the fake camera calls on the thread that starts it.
TEST_F(Upgrade, StartedByAFrameCallbackItsOwnCallbackMayCloseTheStream)
{
    struct Given {
        NubrixBaseContext &context;
        NubrixDevice *device;
        NubrixStream *stream = nullptr;
        int closed = 1;
        Latch done;
    } given = {context(), m_device, nullptr, 1, {}};
    const auto onFrame = [](NubrixStream *stream, typedefNubrixFrame *frame, void *user) {
        auto &self = *static_cast<Given *>(user);
        self.context.releaseFrame(frame);
        self.stream = stream;
        const typedefNubrixUpgradeCallbacks callbacks = {
            [](NubrixDevice *, int, void *inner) {
                auto &outer = *static_cast<Given *>(inner);
                outer.closed = outer.context.closeStream(outer.stream);
            },
            nullptr, user};
        self.context.deviceStartUpgradeOffLine(self.device, &callbacks, "firmware");
        self.done.open();
    };
    const HangGuard guard("an upgrade within a frame callback");
    NubrixStream *stream = nullptr;
    ASSERT_EQ(context().openStream(m_device, NUBRIX_STREAM_COLOR, &stream, onFrame, &given), 0);
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, FakeFrame{1}));
    ASSERT_TRUE(given.done.pass());
    EXPECT_EQ(given.closed, 0);
    EXPECT_EQ(context().closeStream(stream), -13);
}

TEST_F(Upgrade, ASecondOneHasTheSameUpgrader)
{
    EXPECT_EQ(start("first"), 0);
    m_usb.takeCalls();
    EXPECT_EQ(start("second"), 0);
    EXPECT_THAT(m_usb.calls(), ElementsAre("setUpgradeStatus 1", "upgrader usb:1 start second"));
}

TEST_F(Upgrade, AnUpgraderThatOverridesNothingFails)
{
    m_usb.hasPlainUpgrader = true;
    EXPECT_EQ(start(), -1);
    EXPECT_EQ(m_usb.countCalls("setUpgradeStatus 1"), 1U);
}

TEST_F(Upgrade, WithoutAnUpgraderItFails)
{
    m_usb.hasUpgrader = false;
    EXPECT_EQ(start(), -1);
    EXPECT_THAT(m_usb.takeCalls(), Contains("setUpgradeStatus 1"));
    m_usb.hasUpgrader = true;
    EXPECT_EQ(start(), -1) << "it was asked for once";
    EXPECT_THAT(m_usb.calls(), Not(Contains("usb:1 createUpgradeIntance")));
}

TEST_F(Upgrade, OfANetworkCameraIsToldToTheUsbDriver)
{
    m_net.hasUpgrader = true;
    NubrixDevice *const device = open("net:1");
    m_usb.takeCalls();
    m_net.takeCalls();
    EXPECT_EQ(context().deviceStartUpgradeOffLine(device, nullptr, "f"), 0);
    EXPECT_THAT(m_usb.calls(), ElementsAre("setUpgradeStatus 1"));
    EXPECT_THAT(m_net.calls(), ElementsAre("net:1 createUpgradeIntance", "upgrader net:1 start f"));
}

TEST_F(Upgrade, EventsOfARunningOneDoNotReachTheApplication)
{
    int events = 0;
    ASSERT_EQ(context().setDeviceStateCallback(&onState, &events), 0);
    m_usb.upgrading = true;
    ASSERT_EQ(start(), 0);
    m_usb.takeCalls();
    m_usb.raise("usb:1", "SN1", "usb:1", NUBRIX_DEVICE_DISCONNECTED);
    m_usb.raise("usb:1", "SN1", "usb:1", NUBRIX_DEVICE_CONNECTED);
    EXPECT_EQ(events, 0);
    EXPECT_THAT(m_usb.calls(),
                ElementsAre("upgrader usb:1 event usb:1 1", "upgrader usb:1 event usb:1 0"));
    m_usb.raise("usb:9", "SN9", "usb:9", NUBRIX_DEVICE_CONNECTED);
    EXPECT_EQ(events, 1) << "another camera's";
}

TEST_F(Upgrade, WhatTheApplicationObservesGoesToTheLastOneStarted)
{
    EXPECT_EQ(context().setDufDeviceFd(1, 2, 3, "path"), 0);
    EXPECT_EQ(context().setDeviceStatusChange(5, 6, "path", 7), 0);
    EXPECT_THAT(m_usb.calls(), IsEmpty()) << "nothing has been started";
    ASSERT_EQ(start(), 0);
    m_usb.takeCalls();
    EXPECT_EQ(context().setDufDeviceFd(1, 2, 0xffffffff, "path"), 0);
    EXPECT_EQ(context().setDeviceStatusChange(5, -6, "path", 7), 0);
    EXPECT_THAT(m_usb.calls(), ElementsAre("upgrader usb:1 fd 1 2 4294967295 path",
                                           "upgrader usb:1 status path 5 -6 7"));
    ASSERT_EQ(context().closeDevice(m_device), 0);
    m_usb.takeCalls();
    EXPECT_EQ(context().setDufDeviceFd(1, 2, 3, "path"), 0);
    EXPECT_EQ(context().setDeviceStatusChange(5, 6, "path", 7), 0);
    EXPECT_THAT(m_usb.calls(), IsEmpty()) << "it ended with its camera";
}

TEST_F(Upgrade, OfTwoCamerasTheOneStartedLastHearsOfEvents)
{
    m_net.hasUpgrader = true;
    NubrixDevice *const other = open("net:1");
    ASSERT_EQ(start(), 0);
    ASSERT_EQ(context().deviceStartUpgradeOffLine(other, nullptr, "firmware"), 0);
    m_usb.takeCalls();
    m_net.takeCalls();
    EXPECT_EQ(context().setDufDeviceFd(1, 2, 3, "path"), 0);
    EXPECT_THAT(m_usb.calls(), IsEmpty());
    EXPECT_THAT(m_net.calls(), ElementsAre("upgrader net:1 fd 1 2 3 path"));
}

TEST_F(Upgrade, ACameraWithoutAnUpgraderTakesTheEventsAndNobodyHearsOfThem)
{
    NubrixDevice *const other = open("net:1");
    ASSERT_EQ(start(), 0);
    EXPECT_EQ(context().deviceStartUpgradeOffLine(other, nullptr, "firmware"), -1);
    m_usb.takeCalls();
    m_net.takeCalls();
    EXPECT_EQ(context().setDufDeviceFd(1, 2, 3, "path"), 0);
    EXPECT_THAT(m_usb.calls(), IsEmpty());
    EXPECT_THAT(m_net.calls(), IsEmpty());
}

TEST_F(Upgrade, StartedByTwoThreadsHasOneUpgrader)
{
    const auto startQuietly = [this] {
        EXPECT_EQ(context().deviceStartUpgradeOffLine(m_device, nullptr, "f"), 0);
    };
    std::thread other(startQuietly);
    startQuietly();
    other.join();
    ASSERT_EQ(context().destroy(), 0);
    EXPECT_EQ(m_usb.countCalls("upgrader usb:1 deleted"),
              m_usb.countCalls("usb:1 createUpgradeIntance"));
}

// --- GMSL

TEST_F(Upgrade, TheGmslListIsTheUsbDrivers)
{
    m_usb.setGmslPaths({"/dev/video0", "/dev/video2"});
    _NubrixGmslDeviceInfo *list = nullptr;
    unsigned int count = 0;
    EXPECT_EQ(outcome([&] { return context().nubrixGetGmslDeviceList(&list, &count); }),
              (Outcome{0, 0, {}}));
    ASSERT_EQ(count, 2U);
    EXPECT_STREQ(list[1].devicePath, "/dev/video2");
    m_usb.setGmslPaths({});
    m_usb.results.getDeviceList = -1;
    EXPECT_EQ(context().nubrixGetGmslDeviceList(&list, &count), 0) << "its answer is not minded";
    EXPECT_EQ(count, 0U);
    EXPECT_THAT(m_usb.calls(), ElementsAre("getGmslDeviceList 0", "getGmslDeviceList 2"))
        << "it is given the count before";
}

TEST_F(Upgrade, AListedGmslCameraOpensByItsPath)
{
    m_usb.setGmslPaths({"/dev/video0"});
    _NubrixGmslDeviceInfo *list = nullptr;
    unsigned int count = 0;
    ASSERT_EQ(context().nubrixGetGmslDeviceList(&list, &count), 0);
    NubrixDevice *device = nullptr;
    EXPECT_EQ(context().openDevice("/dev/video0", &device), 0);
    EXPECT_NE(device, nullptr);
    EXPECT_EQ(m_usb.countCalls("openDevice /dev/video0"), 1U);
}

TEST_F(Upgrade, TheGmslHooksGoToTheUsbDriver)
{
    EXPECT_EQ(outcome([&] { return context().setGmslI2CStats(true); }), (Outcome{0, 0, {}}));
    EXPECT_EQ(outcome([&] { return context().setGmslI2CAddress("0x36"); }), (Outcome{0, 0, {}}));
    EXPECT_EQ(context().setGmslI2CStats(false), 0);
    EXPECT_THAT(m_usb.calls(),
                ElementsAre("setGmslI2CStats 1", "setGmslI2CAddress 0x36", "setGmslI2CStats 0"));
}

class WithoutUsbDriver : public LibraryFixture {
protected:
    WithoutUsbDriver() : m_net(m_library.installDriver(kNetDriver))
    {
        m_net.setDevices({cameraRecord("net:1", 2)});
        m_net.hasUpgrader = true;
        EXPECT_EQ(context().initialize(), 0);
    }

    FakeDriver &m_net;
};

TEST_F(WithoutUsbDriver, NothingOfGmslAndNoUpgrade)
{
    EXPECT_EQ(context().setGmslI2CStats(true), -1);
    EXPECT_EQ(context().setGmslI2CAddress("0x36"), -1);
    _NubrixGmslDeviceInfo *list = unknownHandle<_NubrixGmslDeviceInfo>();
    unsigned int count = 9;
    EXPECT_EQ(context().nubrixGetGmslDeviceList(&list, &count), 0);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 0U);
    NubrixDevice *device = nullptr;
    ASSERT_EQ(context().openDevice("net:1", &device), 0);
    EXPECT_EQ(context().deviceStartUpgradeOffLine(device, nullptr, "f"), -1);
    EXPECT_THAT(m_net.calls(), AllOf(Contains("net:1 createUpgradeIntance"),
                                     Not(Contains("upgrader net:1 start f"))));
}

}  // namespace
}  // namespace nubrix
