#include "virtual/VirtualDriver.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <thread>

#include "tests/TemporaryFolder.h"
#include "tests/drivers/virtual/VirtualCameraFixture.h"

namespace nubrix::virtual_camera {
namespace {

using testing::HasSubstr;

class VirtualDriverTest : public VirtualCameraTest {};

TEST_F(VirtualDriverTest, WithoutAScenarioThereIsOneCamera)
{
    useDefault();
    const auto cameras = list();
    ASSERT_EQ(cameras.size(), 1U);
    const typedefNubrixeviceAttribute &camera = cameras.front();
    EXPECT_EQ(camera.vendorId + 0U, 0x1209U);
    EXPECT_EQ(camera.productId + 0U, 0x0001U);
    EXPECT_EQ(camera.transport + 0, 1);
    EXPECT_EQ(camera.deviceState + 0U, NUBRIX_DEVICE_CONNECTED);
    EXPECT_STREQ(camera.serialNumber, "VIRT0001");
    EXPECT_STREQ(camera.uri, kFirstUri);
    EXPECT_STREQ(camera.location, "virtual-1");
    EXPECT_STREQ(camera.productName, "Nubrix Virtual Camera");
}

TEST_F(VirtualDriverTest, TheUriBeginsWithUsbAndIsNoVideoNode)
{
    useScenario(R"({"cameras": 3})");
    for (const auto &camera : list()) {
        EXPECT_THAT(camera.uri, HasSubstr("usb"));
        EXPECT_THAT(camera.uri, testing::Not(HasSubstr("/dev/video")));
    }
}

TEST_F(VirtualDriverTest, ListsTheCamerasOfTheScenarioThatArePluggedIn)
{
    useScenario(R"({"cameras": ["LEFT", {"serial": "GONE", "plugged": false}, {}]})");
    const auto cameras = list();
    ASSERT_EQ(cameras.size(), 2U);
    EXPECT_STREQ(cameras[0].uri, "usb:virtual-LEFT");
    EXPECT_STREQ(cameras[1].uri, "usb:virtual-VIRT0003");
    EXPECT_STREQ(cameras[1].location, "virtual-3");
}

TEST_F(VirtualDriverTest, AListThatFailsHasNoCameras)
{
    useDefault();
    unsigned int count = 60;
    EXPECT_EQ(m_driver->getDeviceList(nullptr, &count), -4);
    EXPECT_EQ(count, 0U);
    typedefNubrixeviceAttribute record = {};
    EXPECT_EQ(m_driver->getDeviceList(&record, nullptr), -4);
}

TEST_F(VirtualDriverTest, ListsNoMoreCamerasThanFit)
{
    useScenario(R"({"cameras": 5})");
    typedefNubrixeviceAttribute records[3] = {};
    unsigned int count = 2;
    EXPECT_EQ(m_driver->getDeviceList(records, &count), 0);
    EXPECT_EQ(count, 2U);
    EXPECT_STREQ(records[2].uri, "");
}

TEST_F(VirtualDriverTest, AScenarioMayHaveNoCameras)
{
    useScenario(R"({"cameras": 0})");
    EXPECT_TRUE(list().empty());
    NubrixBaseDevice *device = nullptr;
    EXPECT_EQ(m_driver->openDeviceByFd(0x1209, 1, 5, nullptr, &device), -4);
}

TEST_F(VirtualDriverTest, RefusesCamerasThatAreNotPresent)
{
    useDefault();
    NubrixBaseDevice *device = nullptr;
    unsigned int count = 1;
    typedefNubrixeviceAttribute record;
    EXPECT_EQ(m_driver->openDevice("usb:virtual-OTHER", &device), -4);
    EXPECT_EQ(m_driver->openDevice(nullptr, &device), -4);
    EXPECT_EQ(m_driver->openDevice(kFirstUri, nullptr), -4);
    EXPECT_EQ(m_driver->closeDevice(nullptr), -4);
    EXPECT_EQ(m_driver->closeDevice(&device), -4);
    EXPECT_EQ(m_driver->getDeviceList(nullptr, &count), -4);
    EXPECT_EQ(m_driver->getDeviceList(&record, nullptr), -4);
    EXPECT_EQ(device, nullptr);
}

TEST_F(VirtualDriverTest, OpensACameraOnceAtATime)
{
    useDefault();
    NubrixBaseDevice *device = open();
    ASSERT_NE(device, nullptr);
    EXPECT_STREQ(device->getDeviceId(), kFirstUri);
    EXPECT_EQ(device->getDeviceKind(), VirtualDevice::kKind);
    EXPECT_EQ(device->deviceState(), 0);
    EXPECT_NE(device->keepLiveState(), 0);
    NubrixBaseDevice *second = nullptr;
    EXPECT_EQ(m_driver->openDevice(kFirstUri, &second), -2);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(m_driver->closeDevice(&device), 0);
    EXPECT_EQ(device, nullptr);
    EXPECT_NE(open(), nullptr);
}

TEST_F(VirtualDriverTest, ADeviceOfAnotherDriverIsNotClosed)
{
    useDefault();
    VirtualDriver other;
    ASSERT_EQ(other.initializeWith(Scenario(), ""), 0);
    NubrixBaseDevice *device = nullptr;
    ASSERT_EQ(other.openDevice(kFirstUri, &device), 0);
    NubrixBaseDevice *copy = device;
    EXPECT_EQ(m_driver->closeDevice(&copy), -4);
    EXPECT_EQ(other.closeDevice(&device), 0);
}

TEST_F(VirtualDriverTest, ClosingADeviceStopsAndFreesItsStreams)
{
    useDefault();
    NubrixBaseDevice *device = open();
    NubrixBaseStream *stream = nullptr;
    ASSERT_EQ(device->createStream(NUBRIX_STREAM_DEPTH, &stream), 0);
    FakePool pool(stream->getFrameBufferSize());
    FrameSink sink;
    stream->setFrameAllocator(&pool);
    stream->setFrameCallback(&FrameSink::receive, &sink);
    ASSERT_EQ(stream->start(), 0);
    ASSERT_TRUE(sink.await(1));
    EXPECT_EQ(m_driver->closeDevice(&device), 0);
    EXPECT_EQ(pool.inUse(), 0);
}

TEST_F(VirtualDriverTest, DestroyingTheDriverClosesOpenDevices)
{
    useDefault();
    NubrixBaseDevice *device = open();
    NubrixBaseStream *stream = nullptr;
    ASSERT_EQ(device->createStream(NUBRIX_STREAM_IR, &stream), 0);
    FakePool pool(stream->getFrameBufferSize());
    FrameSink sink;
    stream->setFrameAllocator(&pool);
    stream->setFrameCallback(&FrameSink::receive, &sink);
    ASSERT_EQ(stream->start(), 0);
    ASSERT_TRUE(sink.await(1));
    m_driver.reset();
    EXPECT_EQ(pool.inUse(), 0);
}

TEST_F(VirtualDriverTest, ADescriptorOpensTheFirstCameraThatIsFree)
{
    useScenario(R"({"cameras": [{"plugged": false}, "TWO", "THREE"]})");
    NubrixBaseDevice *first = nullptr;
    NubrixBaseDevice *second = nullptr;
    NubrixBaseDevice *third = nullptr;
    EXPECT_EQ(m_driver->openDeviceByFd(0x1209, 1, 7, "/dev/bus/usb/001/002", &first), 0);
    EXPECT_STREQ(first->getDeviceId(), "usb:virtual-TWO");
    EXPECT_EQ(m_driver->openDeviceByFd(0x1209, 1, 7, nullptr, &second), 0);
    EXPECT_STREQ(second->getDeviceId(), "usb:virtual-THREE");
    EXPECT_EQ(m_driver->openDeviceByFd(0x1209, 1, 7, "", &third), -4);
}

TEST_F(VirtualDriverTest, ADescriptorWithAUriOpensThatCamera)
{
    useScenario(R"({"cameras": 3})");
    NubrixBaseDevice *device = nullptr;
    EXPECT_EQ(m_driver->openDeviceByFd(0x1209, 1, 7, "usb:virtual-VIRT0002", &device), 0);
    EXPECT_STREQ(device->getDeviceId(), "usb:virtual-VIRT0002");
    EXPECT_EQ(m_driver->openDeviceByFd(0x1209, 1, 7, "usb:virtual-VIRT0002", &device), -2);
    EXPECT_EQ(m_driver->openDeviceByFd(0x1209, 1, 7, "usb:virtual-NONE", &device), -4);
}

TEST_F(VirtualDriverTest, ADescriptorOfAnotherProductIsNotAdopted)
{
    useDefault();
    NubrixBaseDevice *device = nullptr;
    EXPECT_EQ(m_driver->openDeviceByFd(0x1209, 2, 7, nullptr, &device), -4);
    EXPECT_EQ(m_driver->openDeviceByFd(0x1208, 1, 7, nullptr, &device), -4);
    EXPECT_EQ(m_driver->openDeviceByFd(0x1209, 1, 7, nullptr, nullptr), -4);
    EXPECT_EQ(device, nullptr);
}

TEST_F(VirtualDriverTest, IsInitialisedOnce)
{
    useDefault();
    EXPECT_EQ(m_driver->initializeWith(Scenario(), ""), -2);
    EXPECT_EQ(list().size(), 1U);
}

/// Sets the variable that names the scenario for one test.
class ScenarioVariableTest : public VirtualDriverTest {
protected:
    ~ScenarioVariableTest() override { ::unsetenv("NUBRIX_VIRTUAL_SCENARIO"); }

    /// What initialize prints on stderr with a scenario file; its status goes to `status`.
    std::string initializeWithFile(const std::string &file, int &status)
    {
        ::setenv("NUBRIX_VIRTUAL_SCENARIO", file.c_str(), 1);
        m_driver = std::make_unique<VirtualDriver>();
        testing::internal::CaptureStderr();
        status = m_driver->initialize();
        return testing::internal::GetCapturedStderr();
    }

    std::string write(const std::string &text)
    {
        const std::string file = m_folder.path().string() + "/scenario.json";
        std::ofstream(file) << text;
        return file;
    }

    TemporaryFolder m_folder;
    int m_status = 1;
};

TEST_F(ScenarioVariableTest, TheVariableNamesTheScenario)
{
    EXPECT_EQ(initializeWithFile(write(R"({"cameras": ["FROMFILE"]})"), m_status), "");
    EXPECT_EQ(m_status, 0);
    ASSERT_EQ(list().size(), 1U);
    EXPECT_STREQ(list().front().serialNumber, "FROMFILE");
}

TEST_F(ScenarioVariableTest, AnEmptyVariableIsNoScenario)
{
    EXPECT_EQ(initializeWithFile("", m_status), "");
    EXPECT_EQ(m_status, 0);
    EXPECT_EQ(list().size(), 1U);
}

TEST_F(ScenarioVariableTest, AMissingFileIsNamed)
{
    const std::string file = m_folder.path().string() + "/none.json";
    EXPECT_EQ(initializeWithFile(file, m_status),
              "nubrix virtual camera: " + file + ": cannot be read: No such file or directory\n");
    EXPECT_EQ(m_status, -4);
    EXPECT_TRUE(list().empty());
}

TEST_F(ScenarioVariableTest, ABadScenarioIsReportedWithKeyAndLine)
{
    const std::string file = write("{\n  \"cameras\": 2,\n  \"paicng\": \"free\"\n}\n");
    EXPECT_EQ(initializeWithFile(file, m_status),
              "nubrix virtual camera: " + file +
                  ":3: paicng: there is no such key here; there are cameras, pacing, source, "
                  "images, recording, frame_rate, faults\n");
    EXPECT_EQ(m_status, -4);
}

TEST_F(ScenarioVariableTest, ABadFolderIsReportedWithKeyAndLine)
{
    const std::string file =
        write("{\n\"source\": \"images\",\n\"images\": {\n\"folder\": \"none\"}}");
    EXPECT_EQ(initializeWithFile(file, m_status),
              "nubrix virtual camera: " + file + ":4: images.folder: the folder \"" +
                  m_folder.path().string() + "/none\" cannot be read: No such file or directory\n");
    EXPECT_EQ(m_status, -4);
}

TEST_F(ScenarioVariableTest, AScenarioOfMoreThanOneMebibyteIsRefused)
{
    std::string text((1 << 20) + 1, ' ');
    text.front() = '{';
    text.back() = '}';
    const std::string file = write(text);
    EXPECT_THAT(initializeWithFile(file, m_status), HasSubstr("is longer than 1 MiB"));
    EXPECT_EQ(m_status, -4);
}

TEST_F(ScenarioVariableTest, AFolderInPlaceOfTheFileIsRefused)
{
    EXPECT_THAT(initializeWithFile(m_folder.path().string(), m_status),
                HasSubstr("cannot be read"));
    EXPECT_EQ(m_status, -4);
}

TEST_F(VirtualDriverTest, ManyThreadsMayUseItAtOnce)
{
    useScenario(R"({"cameras": 2, "pacing": "free"})");
    const auto use = [&](const std::string &uri) {
        for (int i = 0; i < 20; ++i) {
            NubrixBaseDevice *device = nullptr;
            ASSERT_EQ(m_driver->openDevice(uri.c_str(), &device), 0);
            setMode(*device, NUBRIX_STREAM_DEPTH, 320, 240, 60);
            {
                TestStream stream(*device, NUBRIX_STREAM_DEPTH);
                ASSERT_EQ(stream.start(), 0);
                ASSERT_EQ(list().size(), 2U);
                ASSERT_TRUE(stream.sink().await(2));
            }
            ASSERT_EQ(m_driver->closeDevice(&device), 0);
        }
    };
    std::thread other(use, "usb:virtual-VIRT0002");
    use(kFirstUri);
    other.join();
}

}  // namespace
}  // namespace nubrix::virtual_camera
