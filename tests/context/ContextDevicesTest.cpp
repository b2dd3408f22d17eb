// Listing, opening and closing cameras.
#include <cstdio>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

NubrixDevice *const kUntouched = unknownHandle<NubrixDevice>();

class DeviceList : public ContextFixture {
protected:
    typedefNubrixeviceAttribute *list()
    {
        typedefNubrixeviceAttribute *list = nullptr;
        EXPECT_EQ(context().nubrixGetDeviceList(&list, &m_count), 0);
        return list;
    }

    unsigned int m_count = 0;
};

TEST_F(DeviceList, IsTheContextsOwnTable)
{
    EXPECT_EQ(list(), list());
    EXPECT_EQ(m_count, 2U);
    EXPECT_STREQ(list()[0].uri, "usb:1");
    EXPECT_STREQ(list()[0].serialNumber, "SN1");
    EXPECT_STREQ(list()[0].location, "1-1");
    EXPECT_STREQ(list()[1].uri, "net:1");
    EXPECT_EQ(int{list()[1].transport}, 2);
}

TEST_F(DeviceList, FindsARecordByItsUri)
{
    typedefNubrixeviceAttribute *found = nullptr;
    const Outcome success = {1, 0, {}};
    EXPECT_EQ(outcome([&] { return found = context().getDeviceAttributeByUri("net:1"); }), success);
    EXPECT_EQ(found, &list()[1]);
}

TEST_F(DeviceList, FindsTheFirstOfTwoRecords)
{
    m_usb.setDevices({cameraRecord("usb:1"), cameraRecord("usb:2", 1, "first"),
                      cameraRecord("usb:2", 1, "second")});
    m_usb.raise("usb:2", "first", "1-2", NUBRIX_DEVICE_CONNECTED);
    EXPECT_EQ(context().getDeviceAttributeByUri("usb:2"), &list()[1]);
}

TEST_F(DeviceList, HasNoRecordForAnUnknownUri)
{
    const Outcome unknown = {0, NUBRIX_ERR_URI_NOT_FOUND, {"3  not found usb:9 Device "}};
    EXPECT_EQ(outcome([&] { return context().getDeviceAttributeByUri("usb:9"); }), unknown);
    const Outcome prefix = {0, NUBRIX_ERR_URI_NOT_FOUND, {"3  not found usb: Device "}};
    EXPECT_EQ(outcome([&] { return context().getDeviceAttributeByUri("usb:"); }), prefix);
}

TEST_F(DeviceList, HasNoRecordForNoUri)
{
    const Outcome null = {0, 0, {"3 pDeviceUri is null"}};
    EXPECT_EQ(outcome([&] { return context().getDeviceAttributeByUri(nullptr); }), null);
}

/// Opening, with a handle that shows whether it was written.
class Opening : public ContextFixture {
protected:
    Outcome opening(const char *uri)
    {
        return outcome([&] { return context().openDevice(uri, &m_handle); });
    }
    Outcome openingByFd(unsigned int vid, unsigned int pid, unsigned int fd = 7)
    {
        return outcome([&] { return context().openDevice2(vid, pid, fd, "/dev/x", &m_handle); });
    }
    void list(FakeDriver &driver, const std::vector<typedefNubrixeviceAttribute> &records)
    {
        driver.setDevices(records);
        driver.raise("usb:0", "SN0", "0", NUBRIX_DEVICE_CONNECTED);
    }

    NubrixDevice *m_handle = kUntouched;
};

TEST_F(Opening, CallsTheDriverOfTheCamera)
{
    const Outcome success = {
        0, 0, {"4 Start open device usb:1", "1 open device usb:1", "4 Open device succeed"}};
    EXPECT_EQ(opening("usb:1"), success);
    EXPECT_NE(m_handle, kUntouched);
    EXPECT_NE(m_handle, nullptr);
    EXPECT_THAT(m_usb.calls(), ElementsAre("openDevice usb:1", "usb:1 getDeviceKind"));
    EXPECT_THAT(m_net.calls(), IsEmpty());
}

TEST_F(Opening, NoUriMeansTheFirstCamera)
{
    const Outcome success = {
        0, 0, {"4 Start open device (null)", "1 open device usb:1", "4 Open device succeed"}};
    EXPECT_EQ(opening(nullptr), success);
}

TEST_F(Opening, NoUriWithoutACameraFails)
{
    list(m_usb, {});
    list(m_net, {});
    const Outcome none = {
        -4, NUBRIX_ERR_DEVICE_NOT_FOUND, {"4 Start open device (null)", "3 Not find device!"}};
    EXPECT_EQ(opening(nullptr), none);
    EXPECT_EQ(m_handle, kUntouched);
}

TEST_F(Opening, AnUnknownUriFails)
{
    const Outcome unknown = {
        -4, NUBRIX_ERR_OPEN_FAILED, {"4 Start open device usb:9", "3 invalid device addr !"}};
    EXPECT_EQ(opening("usb:9"), unknown);
    EXPECT_EQ(m_handle, kUntouched);
}

TEST_F(Opening, AVideoNodeIsLookedForAmongTheGmslCamerasOnly)
{
    list(m_usb, {cameraRecord("/dev/video0")});
    m_usb.takeCalls();
    const Outcome unknown = {
        -4, NUBRIX_ERR_OPEN_FAILED, {"4 Start open device /dev/video0", "3 invalid device addr !"}};
    EXPECT_EQ(opening("/dev/video0"), unknown);
    EXPECT_EQ(opening("gmsl:/dev/video1").status, -4);
    EXPECT_THAT(m_usb.calls(), IsEmpty());
}

TEST_F(Opening, TransportsTwoAndThreeBelongToTheNetworkDriver)
{
    list(m_usb, {cameraRecord("two", 2), cameraRecord("three", 3)});
    EXPECT_EQ(opening("two").status, 0);
    EXPECT_EQ(opening("three").status, 0);
    EXPECT_EQ(m_net.countCalls("openDevice two"), 1U);
    EXPECT_EQ(m_net.countCalls("openDevice three"), 1U);
}

TEST_F(Opening, AnyOtherTransportHasNoDriver)
{
    for (const int transport : {-1, 0, 4, 5, 1 << 30}) {
        list(m_usb, {cameraRecord("odd", transport)});
        m_usb.takeCalls();
        const Outcome unserved = {
            -12,
            0,
            {"4 Start open device odd", "3 cannot open Device[odd],  not find support driver"}};
        EXPECT_EQ(opening("odd"), unserved) << transport;
        EXPECT_EQ(m_handle, kUntouched);
        EXPECT_THAT(m_usb.calls(), IsEmpty());
    }
}

TEST_F(Opening, LookingForADriverThatIsNotThereDoesNoHarm)
{
    list(m_usb, {cameraRecord("mini", 4)});
    ASSERT_EQ(opening("mini").status, -12);
    m_usb.raise("usb:1", "SN1", "1-1", NUBRIX_DEVICE_CONNECTED);
    ASSERT_EQ(openingByFd(0x1209, 3).status, -1);
    ASSERT_EQ(context().destroy(), 0);
    EXPECT_EQ(context().initialize(), 0);
}

TEST_F(Opening, TheSameCameraAgainLeavesTheHandleAlone)
{
    ASSERT_EQ(opening("usb:1").status, 0);
    NubrixDevice *const first = m_handle;
    m_handle = kUntouched;
    m_usb.takeCalls();
    const Outcome again = {
        0, 0, {"4 Start open device usb:1", "4 Device[usb:1] is already opened!"}};
    EXPECT_EQ(opening("usb:1"), again);
    EXPECT_EQ(m_handle, kUntouched);
    EXPECT_EQ(opening(nullptr).log.back(), "4 Device[usb:1] is already opened!");
    EXPECT_THAT(m_usb.calls(), IsEmpty());
    EXPECT_EQ(context().closeDevice(first), 0);
}

TEST_F(Opening, TheDriversRefusalIsPassedOn)
{
    for (const int result : {-77, 5}) {
        m_usb.results.openDevice = result;
        const std::string line = "3 Open device failed ret = " + std::to_string(result) + "!";
        const Outcome refused = {
            result, 0, {"4 Start open device usb:1", "1 open device usb:1", line}};
        EXPECT_EQ(opening("usb:1"), refused);
        EXPECT_EQ(m_handle, kUntouched);
    }
    m_usb.results.openDevice = 0;
    EXPECT_EQ(opening("usb:1").log.back(), "4 Open device succeed") << "it was not kept as open";
}

TEST_F(Opening, ADriverThatReturnsNoDeviceFails)
{
    m_usb.givesNullDevice = true;
    EXPECT_EQ(opening("usb:1").status, -1);
    EXPECT_EQ(openingByFd(0x1209, 1).status, -1);
    EXPECT_EQ(m_handle, kUntouched);
}

TEST_F(Opening, SeveralCamerasAreOpenAtOnce)
{
    NubrixDevice *const usb = open("usb:1");
    NubrixDevice *const net = open("net:1");
    EXPECT_NE(usb, net);
    EXPECT_EQ(context().closeDevice(usb), 0);
    EXPECT_EQ(context().closeDevice(net), 0);
}

TEST_F(Opening, ByDescriptorCallsTheDriverOfTheIdentifiers)
{
    const Outcome success = openingByFd(0x1209, 1);
    char added[64];
    std::snprintf(added, sizeof(added), "1 Add device=0x%p to device list",
                  static_cast<void *>(m_handle));
    EXPECT_EQ(success, (Outcome{0,
                                0,
                                {"1 open device /dev/x, fd:7 ", "1 open2 m_deviceId = fd-device",
                                 "1 open device /dev/x, fd:7, successfull ", added}}));
    EXPECT_THAT(m_usb.calls(), ElementsAre("openDeviceByFd 1209:0001 fd 7 /dev/x",
                                           "fd-device getDeviceId", "fd-device getDeviceKind"));
    EXPECT_EQ(context().closeDevice(m_handle), 0);
    EXPECT_EQ(m_usb.countCalls("closeDevice fd-device"), 1U);
}

TEST_F(Opening, ByDescriptorKnowsTheNetworkCameras)
{
    EXPECT_EQ(openingByFd(0x1209, 2).status, 0);
    EXPECT_EQ(m_net.countCalls("openDeviceByFd 1209:0002 fd 7 /dev/x"), 1U);
}

TEST_F(Opening, ByDescriptorRefusesUnknownIdentifiers)
{
    const Outcome unknown = {-1, 0, {"1 cannot open Device[vid=abcd  pid=12], driver not support"}};
    EXPECT_EQ(openingByFd(0xabcd, 0x12), unknown);
    const Outcome mini = {-1, 0, {"1 cannot open Device[vid=1209  pid=3], driver not support"}};
    EXPECT_EQ(openingByFd(0x1209, 3), mini) << "the mini driver is never loaded";
    const Outcome wide = {-1, 0, {"1 cannot open Device[vid=11209  pid=1], driver not support"}};
    EXPECT_EQ(openingByFd(0x11209, 1), wide) << "no part of the number is lost";
    EXPECT_EQ(m_handle, kUntouched);
}

TEST_F(Opening, ByDescriptorNeedsADriverThatCan)
{
    m_usb.opensByFd = false;
    const Outcome unable = {
        -8,
        0,
        {"1 open device /dev/x, fd:7 ", "4 Open Device(/dev/x) Failed, fd(7), Return Code:-8",
         "3 Open Device(/dev/x) Failed!"}};
    EXPECT_EQ(openingByFd(0x1209, 1), unable);
    EXPECT_EQ(m_handle, kUntouched);
}

TEST_F(Opening, ByDescriptorPassesTheDriversRefusalOn)
{
    m_usb.results.openDeviceByFd = -21;
    const Outcome refused = {
        -21,
        0,
        {"1 open device /dev/x, fd:-1 ", "4 Open Device(/dev/x) Failed, fd(-1), Return Code:-21",
         "3 Open Device(/dev/x) Failed!"}};
    EXPECT_EQ(openingByFd(0x1209, 1, 0xffffffffU), refused);
    EXPECT_EQ(m_handle, kUntouched);
}

TEST_F(Opening, ByDescriptorOpensTheSameCameraTwice)
{
    ASSERT_EQ(openingByFd(0x1209, 1).status, 0);
    NubrixDevice *const first = m_handle;
    ASSERT_EQ(openingByFd(0x1209, 1).status, 0);
    EXPECT_NE(m_handle, first);
}

TEST_F(Opening, ACameraOpenedByDescriptorIsKnownByItsIdentifier)
{
    m_usb.setDeviceId("usb:1");
    ASSERT_EQ(openingByFd(0x1209, 1).status, 0);
    EXPECT_EQ(opening("usb:1").log.back(), "4 Device[usb:1] is already opened!");
}

TEST_F(Opening, ByDescriptorFailsWhenNoDriverIsLoaded)
{
    InstalledLibrary bare;
    ASSERT_EQ(bare.context().initialize(), 0);
    EXPECT_EQ(bare.context().openDevice2(0x1209, 1, 7, "/dev/x", &m_handle), -1);
    EXPECT_EQ(bare.context().openDevice("usb:1", &m_handle), -4);
    EXPECT_EQ(m_handle, kUntouched);
}

class Closing : public DeviceFixture {
protected:
    Outcome closing()
    {
        return outcome([&] { return context().closeDevice(m_device); });
    }
};

TEST_F(Closing, ReturnsTheCameraToItsDriver)
{
    EXPECT_EQ(closing(), (Outcome{0, 0, {"4 Finish close device"}}));
    EXPECT_THAT(m_usb.calls(), ElementsAre("closeDevice usb:1"));
}

TEST_F(Closing, IgnoresTheDriversStatus)
{
    m_usb.results.closeDevice = -6;
    EXPECT_EQ(closing().status, 0);
}

TEST_F(Closing, ClosesTheCamerasStreamsFirst)
{
    NubrixStream *const other = opened(NUBRIX_STREAM_COLOR, open("net:1"));
    opened(NUBRIX_STREAM_COLOR);
    opened(NUBRIX_STREAM_DEPTH);
    created(NUBRIX_STREAM_IR);  // never started
    m_usb.takeCalls();
    std::vector<std::string> milestones;
    for (const std::string &line : closing().log) {
        if (line[0] == '4')
            milestones.push_back(line);
    }
    EXPECT_THAT(milestones, ElementsAre("4 Start stop color stream ", "4 Finish stop stream",
                                        "4 Start stop depth stream ", "4 Finish stop stream",
                                        "4 Start stop ir stream ", "4 Finish stop stream",
                                        "4 Finish close device"));
    EXPECT_THAT(m_usb.calls(),
                ElementsAre("usb:1 stream 1 stop", "usb:1 stream 2 stop", "closeDevice usb:1"));
    EXPECT_EQ(stopStream(other), 0) << "another camera's stream is not touched";
}

TEST_F(Closing, TheCameraCanBeOpenedAgain)
{
    for (int times = 0; times < 3; ++times) {
        NubrixDevice *const device = times == 0 ? m_device : open();
        NubrixStream *const stream = opened(NUBRIX_STREAM_DEPTH, device);
        EXPECT_TRUE(m_usb.deliver(NUBRIX_STREAM_DEPTH, {}));
        EXPECT_EQ(context().closeDevice(device), 0);
        EXPECT_EQ(stopStream(stream), -13);
    }
}

}  // namespace
}  // namespace nubrix
