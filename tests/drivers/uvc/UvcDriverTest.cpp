#include "uvc/UvcDriver.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <future>
#include <memory>

#include "tests/drivers/FakePool.h"
#include "tests/drivers/uvc/UvcDeviceFixture.h"
#include "tests/drivers/uvc/UvcDriverFixture.h"

namespace nubrix::uvc {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

TEST_F(UvcDriverTest, ListsCamerasOncePerDevice)
{
    system.addUsb("1-2", "A: serial=SN1\nA: product=Depth Camera\n");
    system.addNode("1-2", 0);
    system.addNode("1-2", 1, ":");
    system.addNode("1-2", 2);
    start();
    const auto cameras = list();
    ASSERT_EQ(cameras.size(), 1U);
    const unsigned int vendor = cameras[0].vendorId;  // by value: the record is packed
    const unsigned int product = cameras[0].productId;
    const int transport = cameras[0].transport;
    const unsigned int state = cameras[0].deviceState;
    EXPECT_EQ(vendor, 0x1209U);
    EXPECT_EQ(product, 1U);
    EXPECT_EQ(transport, 1);
    EXPECT_EQ(state, NUBRIX_DEVICE_CONNECTED);
    EXPECT_STREQ(cameras[0].uri, "usb:1-2");
    EXPECT_STREQ(cameras[0].serialNumber, "SN1");
    EXPECT_STREQ(cameras[0].location, "1-2");
    EXPECT_STREQ(cameras[0].productName, "Depth Camera");
}

TEST_F(UvcDriverTest, ACameraWithoutACaptureNodeIsNoCamera)
{
    system.addUsb("1-2", "");
    system.addNode("1-2", 0, ":");
    start();
    EXPECT_THAT(list(), IsEmpty());
}

TEST_F(UvcDriverTest, TextsThatAreTooLongAreCutBetweenCharacters)
{
    const std::string e = "\xc3\xa9";
    std::string hex = "78";  // so that a character crosses the limit
    for (int i = 0; i < 100; ++i)
        hex += "c3a9";
    system.addUsb("1-2", "H: serial=" + hex + "\nH: product=" + hex + "\n");
    system.addNode("1-2", 0);
    start();
    const auto cameras = list();
    ASSERT_EQ(cameras.size(), 1U);
    const std::string serial = cameras[0].serialNumber;
    EXPECT_EQ(serial.size(), 63U);
    EXPECT_EQ(serial.substr(61), e);
    const std::string product = cameras[0].productName;
    EXPECT_EQ(product.size(), 127U);
    EXPECT_EQ(product.substr(125), e);
}

TEST_F(UvcDriverTest, WritesNoMoreRecordsThanTheCapacity)
{
    plug("1-1", 0);
    plug("1-2", 1);
    start();
    std::vector<typedefNubrixeviceAttribute> records(2);
    unsigned int count = 1;
    EXPECT_EQ(driver->getDeviceList(records.data(), &count), 0);
    EXPECT_EQ(count, 1U);
    EXPECT_STREQ(records[1].uri, "");
}

TEST_F(UvcDriverTest, NodesThatAreNotUsbAreGmslDevices)
{
    system.addUndescribedNode("/devices/platform/csi/video4linux/video7", 7,
                              "E: ID_V4L_CAPABILITIES=:capture:\n");
    camera.formats = {formatOf(V4L2_PIX_FMT_YUYV)};
    start();
    EXPECT_THAT(list(), IsEmpty());
    std::vector<_NubrixGmslDeviceInfo> records(60);
    unsigned int count = 0;  // as the library calls it
    ASSERT_EQ(driver->getGmslDeviceList(records.data(), &count), 0);
    ASSERT_EQ(count, 1U);
    EXPECT_STREQ(records[0].devicePath, "/dev/video7");
    NubrixBaseDevice *device = nullptr;
    ASSERT_EQ(driver->openDevice("/dev/video7", &device), 0);
    EXPECT_STREQ(device->getDeviceId(), "/dev/video7");
    EXPECT_EQ(driver->closeDevice(&device), 0);
    EXPECT_EQ(device, nullptr);
}

TEST_F(UvcDriverTest, PluggingInAndUnpluggingAreReportedOnceEach)
{
    start();
    plug("1-2", 0);
    system.addNode("1-2", 1, ":");
    system.addNode("1-2", 2);
    ASSERT_TRUE(await(1));
    EXPECT_THAT(uris(), ElementsAre("usb:1-2"));
    system.repeatAdd("1-2", 0);
    for (const unsigned int number : {0U, 1U, 2U})
        system.removeNode("1-2", number);
    ASSERT_TRUE(await(2));
    EXPECT_THAT(reports(), ElementsAre("+usb:1-2 S0 1-2", "-usb:1-2 S0 1-2"));
    EXPECT_EQ(listedWhenTold(0), 1U);
    EXPECT_EQ(listedWhenTold(1), 0U);
    EXPECT_THAT(list(), IsEmpty());
}

TEST_F(UvcDriverTest, ACameraAttachedAtTheStartIsReportedWhenUdevHasSetItUp)
{
    plug("1-1", 0);
    plug("1-2", 1);
    system.addNode("1-2", 2);
    system.setAge("1-2", 2, std::nullopt);
    start();
    EXPECT_THAT(uris(), ElementsAre("usb:1-1"));
    system.setAge("1-2", 2, std::chrono::hours(1));
    system.repeatAdd("1-2", 2);
    ASSERT_TRUE(await(1));
    EXPECT_THAT(reports(), ElementsAre("+usb:1-2 S1 1-2"));
    EXPECT_THAT(uris(), ElementsAre("usb:1-1", "usb:1-2"));
}

TEST_F(UvcDriverTest, ACameraWaitsForANodeThatUdevIsBusyWithButNotForEver)
{
    start();
    const auto begin = std::chrono::steady_clock::now();
    plug("1-2", 0);
    system.addNodeWithoutEvent("1-2", 1);
    ASSERT_TRUE(await(1));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, CameraTable::kLongestSettling);
    EXPECT_THAT(reports(), ElementsAre("+usb:1-2 S0 1-2"));
}

TEST_F(UvcDriverTest, ACameraWaitsASecondForAStreamThatTheKernelLacks)
{
    start();
    const auto begin = std::chrono::steady_clock::now();
    plug("1-2", 0);
    system.addStreamInterface("1-2", 1);
    system.addStreamInterface("1-2", 2);
    ASSERT_TRUE(await(1));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_THAT(reports(), ElementsAre("+usb:1-2 S0 1-2"));
}

TEST_F(UvcDriverTest, TheEventOfAKnownCameraIsNotReported)
{
    plug("1-2", 0);
    start();
    system.repeatAdd("1-2", 0);
    plug("1-3", 1);
    ASSERT_TRUE(await(1));
    EXPECT_THAT(reports(), ElementsAre("+usb:1-3 S1 1-3"));
}

TEST_F(UvcDriverTest, FiftyCamerasInBurstsAreAllReported)
{
    constexpr unsigned int kBurst = 5;  // the mocked system gives up when 10 events wait
    start();
    for (unsigned int i = 0; i < 50; ++i) {
        plug("1-" + std::to_string(i), i);
        if (i % kBurst == kBurst - 1) {
            ASSERT_TRUE(await(i + 1));
        }
    }
    EXPECT_EQ(list().size(), 50U);
    for (unsigned int i = 0; i < 50; ++i) {
        system.removeNode("1-" + std::to_string(i), i);
        if (i % kBurst == kBurst - 1) {
            ASSERT_TRUE(await(50 + i + 1));
        }
    }
    EXPECT_THAT(list(), IsEmpty());
    const auto all = reports();
    for (unsigned int i = 0; i < 50; ++i) {
        const std::string name = "usb:1-" + std::to_string(i) + " S" + std::to_string(i);
        EXPECT_EQ(std::count_if(all.begin(), all.end(),
                                [&](const auto &text) { return text.find(name + " ") == 1; }),
                  2)
            << name;
    }
}

TEST_F(UvcDriverTest, IsInitializedOnce)
{
    start();
    EXPECT_EQ(driver->initialize(), -2);
}

TEST_F(UvcDriverTest, IsDestroyedAtAnyTime)
{
    const auto step = 2 * CameraTable::kSettleTime / 20;
    bool early = false;
    bool late = false;
    for (int i = 0; i < 20; ++i) {
        start();
        EXPECT_TRUE(awaitThreads(1));
        plug("1-2", 0);
        std::this_thread::sleep_for(i * step);  // chooses the moment; the test waits for nothing
        const std::size_t reportsBefore = reports().size();
        driver.reset();
        EXPECT_EQ(inside, 0);
        const auto all = reports();
        ASSERT_LE(all.size(), 1U);
        EXPECT_GE(all.size(), reportsBefore);
        (all.empty() ? early : late) = true;
        system.removeNode("1-2", 0);
        system.removeUsb("1-2");
        EXPECT_TRUE(awaitThreads(0)) << "a thread is left, moment " << i;
        EXPECT_EQ(reports(), all) << "reported after its destruction, moment " << i;
        forgetTold();
    }
    EXPECT_TRUE(early && late) << "the moments were all alike";
}

TEST_F(UvcDriverTest, DestructionWaitsForTheHotPlugCallback)
{
    start();
    std::promise<void> entered;
    std::promise<void> mayReturn;
    onReport = [&] {
        entered.set_value();
        mayReturn.get_future().wait();
    };
    plug("1-2", 0);
    ASSERT_EQ(entered.get_future().wait_for(kDeadline), std::future_status::ready);
    auto ended = std::async(std::launch::async, [this] {
        driver.reset();
        return inside.load();
    });
    mayReturn.set_value();
    ASSERT_EQ(ended.wait_for(kDeadline), std::future_status::ready);
    EXPECT_EQ(ended.get(), 0);
    EXPECT_EQ(reports().size(), 1U);
}

TEST_F(UvcDriverTest, DestructionWaitsForAFrameCallbackThatClosedItsOwnCamera)
{
    plug("1-2", 0);
    camera.formats = {formatOf(V4L2_PIX_FMT_Z16)};
    start();
    NubrixBaseDevice *device = nullptr;
    ASSERT_EQ(driver->openDevice("usb:1-2", &device), 0);
    NubrixBaseStream *stream = nullptr;
    ASSERT_EQ(device->createStream(NUBRIX_STREAM_DEPTH, &stream), 0);
    FakePool pool(stream->getFrameBufferSize());
    FrameSink sink;
    std::promise<int> closed;
    std::promise<void> mayReturn;
    std::atomic<bool> returned = false;
    sink.onFrame = [&](NubrixFrameRef *) {
        closed.set_value(driver->closeDevice(&device));
        mayReturn.get_future().wait();
        returned = true;
    };
    stream->setFrameAllocator(&pool);
    stream->setFrameCallback(&FrameSink::receive, &sink);
    ASSERT_EQ(stream->start(), 0);
    camera.captureAll(1);
    auto status = closed.get_future();
    ASSERT_EQ(status.wait_for(kDeadline), std::future_status::ready);
    EXPECT_EQ(status.get(), 0);
    EXPECT_EQ(device, nullptr);
    EXPECT_FALSE(camera.isStreaming());
    auto ended = std::async(std::launch::async, [&] {
        driver.reset();
        return returned.load();
    });
    mayReturn.set_value();
    ASSERT_EQ(ended.wait_for(kDeadline), std::future_status::ready);
    EXPECT_TRUE(ended.get());
    EXPECT_EQ(pool.inUse(), 0);
    EXPECT_TRUE(awaitThreads(0));
}

TEST_F(UvcDriverTest, AListThatFailsHasNoRecords)
{
    plug("1-2", 0);
    start();
    unsigned int count = 60;
    EXPECT_EQ(driver->getDeviceList(nullptr, &count), -4);
    EXPECT_EQ(count, 0U);
    count = 60;
    EXPECT_EQ(driver->getGmslDeviceList(nullptr, &count), -4);
    EXPECT_EQ(count, 0U);
}

TEST_F(UvcDriverTest, TextsOfACameraAreClean)
{
    // An escape, a control sequence introducer of two bytes and of one byte, and half of a
    // surrogate pair.
    system.addUsb("1-2", "H: serial=411b5b42\nH: product=41c29b429b43eda08044\n");
    system.addNode("1-2", 0);
    start();
    const auto cameras = list();
    ASSERT_EQ(cameras.size(), 1U);
    EXPECT_STREQ(cameras[0].serialNumber, "A?[B");
    EXPECT_STREQ(cameras[0].productName, "A?B?C???D");
}

TEST_F(UvcDriverTest, OpensOnlyWhatItLists)
{
    plug("1-2", 0);
    camera.formats = {formatOf(V4L2_PIX_FMT_Z16)};
    start();
    NubrixBaseDevice *device = nullptr;
    EXPECT_EQ(driver->openDevice("usb:1-3", &device), -4);
    EXPECT_EQ(driver->openDevice("/dev/video0", &device), -4);
    EXPECT_EQ(device, nullptr);
    ASSERT_EQ(driver->openDevice("usb:1-2", &device), 0);
    EXPECT_STREQ(device->getDeviceId(), "usb:1-2");
    NubrixBaseDevice *other = nullptr;
    EXPECT_EQ(driver->closeDevice(&other), -4);
    EXPECT_EQ(driver->closeDevice(&device), 0);
}

TEST_F(UvcDriverTest, WithoutPermissionOpeningReportsWhatToDo)
{
    plug("1-2", 0);
    start();
    openError = EACCES;
    NubrixBaseDevice *device = nullptr;
    testing::internal::CaptureStderr();
    EXPECT_EQ(driver->openDevice("usb:1-2", &device), -1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                AllOf(HasSubstr("permission denied on usb:1-2: add the user to group video\n"),
                      Not(HasSubstr("busy"))));
}

TEST_F(UvcDriverTest, ADescriptorThatIsNoVideoNodeIsRefusedAndStaysOpen)
{
    start();
    const int fd = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    NubrixBaseDevice *device = nullptr;
    EXPECT_EQ(driver->openDeviceByFd(0x1209, 1, fd, "usb", &device), -4);
    EXPECT_EQ(driver->openDeviceByFd(0x1209, 1, -1, nullptr, &device), -4);
    EXPECT_EQ(device, nullptr);
    EXPECT_EQ(::close(fd), 0);
}

}  // namespace
}  // namespace nubrix::uvc
