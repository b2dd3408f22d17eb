#include "device/Device.h"

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/ErrorNumber.h"
#include "stream/VideoStream.h"
#include "tests/fakes/FakeDriver.h"
#include "tests/fakes/LogRecorder.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeviceTest : public testing::Test {
protected:
    DeviceTest() { g_nubrixErrno = 0; }
    ~DeviceTest() override { close(); }

    void open()
    {
        ASSERT_EQ(m_device->open("usb:1"), 0);
        m_driver.takeCalls();
        m_log.take();
    }
    int openByDescriptor(unsigned int fd = 5)
    {
        return m_device->open2(0x1209, 1, fd, "/dev/bus/usb/001/002");
    }
    void close()
    {
        if (m_device)
            m_device->close();
    }
    std::unique_ptr<VideoStream> createStream(unsigned int type)
    {
        return std::unique_ptr<VideoStream>(m_device->createStream(type));
    }
    void expectClosed()
    {
        EXPECT_EQ(m_device->deviceState(), 1);
        EXPECT_EQ(m_device->keepLiveState(), 0);
        EXPECT_EQ(m_device->createStream(1), nullptr);
    }

    LogRecorder m_log;
    FakeDriver m_driver;
    std::unique_ptr<Device> m_device = std::make_unique<Device>(m_driver);
};

TEST_F(DeviceTest, ANewDeviceIsClosedAndUnknown)
{
    EXPECT_EQ(m_device->deviceId(), "");
    EXPECT_EQ(m_device->deviceKind(), 255);
    EXPECT_EQ(m_device->handle(), reinterpret_cast<NubrixDevice *>(m_device.get()));
    expectClosed();
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
}

TEST_F(DeviceTest, OpeningUsesTheUriAsIdentifierAndQueriesTheKind)
{
    m_driver.deviceKind = -3;
    EXPECT_EQ(m_device->open("usb:1"), 0);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("open device usb:1")));
    EXPECT_THAT(m_driver.takeCalls(), ElementsAre("openDevice usb:1", "usb:1 getDeviceKind"));
    EXPECT_EQ(m_device->deviceId(), "usb:1");
    EXPECT_EQ(m_device->deviceKind(), -3);
    EXPECT_EQ(m_device->deviceState(), 0);
    EXPECT_EQ(m_device->keepLiveState(), 1);
}

TEST_F(DeviceTest, ARefusalOfTheDriverIsPassedOnAndChangesNothing)
{
    for (const int refusal : {-1, 7}) {
        m_driver.results.openDevice = refusal;
        EXPECT_EQ(m_device->open("usb:1"), refusal);
        EXPECT_THAT(m_log.take(), ElementsAre(infoLine("open device usb:1")));
        EXPECT_EQ(m_device->deviceId(), "");
        EXPECT_EQ(m_device->deviceKind(), 255);
        expectClosed();
        m_log.take();
    }
}

TEST_F(DeviceTest, ADriverThatSucceedsWithoutADeviceHasNotOpenedOne)
{
    m_driver.givesNullDevice = true;
    EXPECT_EQ(m_device->open("usb:1"), -1);
    EXPECT_EQ(openByDescriptor(), -1);
    EXPECT_EQ(m_device->deviceId(), "");
    expectClosed();
}

TEST_F(DeviceTest, OpeningADescriptorTakesTheIdentifierOfTheDriver)
{
    m_driver.setDeviceId("serial-9");
    m_driver.deviceKind = 12;
    EXPECT_EQ(openByDescriptor(), 0);
    EXPECT_THAT(m_log.take(),
                ElementsAre(infoLine("open device /dev/bus/usb/001/002, fd:5 "),
                            infoLine("open2 m_deviceId = serial-9"),
                            infoLine("open device /dev/bus/usb/001/002, fd:5, successfull ")));
    EXPECT_THAT(m_driver.takeCalls(),
                ElementsAre("openDeviceByFd 1209:0001 fd 5 /dev/bus/usb/001/002",
                            "serial-9 getDeviceId", "serial-9 getDeviceKind"));
    EXPECT_EQ(m_device->deviceId(), "serial-9");
    EXPECT_EQ(m_device->deviceKind(), 12);
    EXPECT_EQ(m_device->deviceState(), 0);
}

TEST_F(DeviceTest, ADriverWithoutDescriptorsIsUnsupported)
{
    m_driver.opensByFd = false;
    EXPECT_EQ(openByDescriptor(), -8);
    EXPECT_THAT(
        m_log.take(),
        ElementsAre(
            infoLine("open device /dev/bus/usb/001/002, fd:5 "),
            milestoneLine("Open Device(/dev/bus/usb/001/002) Failed, fd(5), Return Code:-8")));
    EXPECT_EQ(g_nubrixErrno, 0U);
    EXPECT_EQ(m_device->deviceId(), "");
    expectClosed();
}

TEST_F(DeviceTest, ARefusedDescriptorIsLoggedAsASignedNumberWithTheDriversResult)
{
    m_driver.results.openDeviceByFd = 7;
    EXPECT_EQ(openByDescriptor(4294967295U), 7);
    EXPECT_THAT(
        m_log.take(),
        ElementsAre(
            infoLine("open device /dev/bus/usb/001/002, fd:-1 "),
            milestoneLine("Open Device(/dev/bus/usb/001/002) Failed, fd(-1), Return Code:7")));
    EXPECT_THAT(m_driver.takeCalls(),
                ElementsAre("openDeviceByFd 1209:0001 fd -1 /dev/bus/usb/001/002"));
    expectClosed();
}

TEST_F(DeviceTest, ClosingPassesOnTheDriversResultAndClosesWhateverItWas)
{
    open();
    m_driver.results.closeDevice = -6;
    EXPECT_EQ(m_device->close(), -6);
    EXPECT_THAT(m_driver.takeCalls(), ElementsAre("closeDevice usb:1"));
    EXPECT_THAT(m_log.take(), IsEmpty());
    EXPECT_EQ(m_device->deviceId(), "usb:1");
    expectClosed();
}

TEST_F(DeviceTest, ClosingAClosedDeviceDoesNotCallTheDriver)
{
    EXPECT_EQ(m_device->close(), 0);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("Device not open")));
    open();
    EXPECT_EQ(m_device->close(), 0);
    m_driver.takeCalls();
    EXPECT_EQ(m_device->close(), 0);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("Device not open")));
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
}

TEST_F(DeviceTest, AClosedDeviceMayBeOpenedAgain)
{
    open();
    close();
    EXPECT_EQ(m_device->open("usb:2"), 0);
    EXPECT_EQ(m_device->deviceId(), "usb:2");
    EXPECT_EQ(m_device->deviceState(), 0);
}

TEST_F(DeviceTest, AStreamOfAClosedDeviceIsRefused)
{
    EXPECT_EQ(m_device->createStream(1), nullptr);
    EXPECT_EQ(g_nubrixErrno, 0x80300102U);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("Device not open")));
}

TEST_F(DeviceTest, AStreamOfADisconnectedCameraIsRefusedThoughItIsOpen)
{
    open();
    m_driver.device()->state = 1;
    EXPECT_EQ(m_device->createStream(1), nullptr);
    EXPECT_EQ(g_nubrixErrno, 0x80300104U);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("Device disconnected, please check it")));
}

TEST_F(DeviceTest, OnlyAStateOfOneMeansDisconnected)
{
    open();
    m_driver.device()->state = 2;
    EXPECT_NE(createStream(1), nullptr);
    EXPECT_EQ(m_device->deviceState(), 2);
    EXPECT_EQ(g_nubrixErrno, 0U);
}

TEST_F(DeviceTest, StreamsOfOneTypeAreTwoAndShareOneSensor)
{
    open();
    const auto first = createStream(2);
    const auto second = createStream(2);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(&first->device(), m_device.get());
    ASSERT_EQ(first->start(), 0);
    ASSERT_EQ(second->start(), 0);
    EXPECT_EQ(m_driver.countCalls("usb:1 createStream 2"), 1U);
    EXPECT_EQ(m_driver.countCalls("usb:1 stream 2 start"), 1U);
}

TEST_F(DeviceTest, EveryCombinationOfTypesIsAdmitted)
{
    open();
    std::vector<std::unique_ptr<VideoStream>> streams;
    for (const unsigned int type : {1U, 2U, 4U, 32U, 63U}) {
        streams.push_back(createStream(type));
        ASSERT_NE(streams.back(), nullptr);
        EXPECT_EQ(streams.back()->getFrameType(), type);
        EXPECT_EQ(streams.back()->start(), 0);
    }
    EXPECT_EQ(m_driver.countCalls("usb:1 createStream 63"), 1U);
    EXPECT_EQ(g_nubrixErrno, 0U);
}

TEST_F(DeviceTest, TheSensorOutlivesItsStreams)
{
    open();
    VideoStream *stream = m_device->createStream(2);
    ASSERT_EQ(stream->start(), 0);
    m_device->destroyStream(stream);
    EXPECT_EQ(m_driver.countCalls("usb:1 stream 2 stop"), 1U);
    EXPECT_EQ(m_driver.countCalls("usb:1 destroyStream 2"), 0U);
    stream = m_device->createStream(2);
    ASSERT_EQ(stream->start(), 0);
    EXPECT_EQ(m_driver.countCalls("usb:1 createStream 2"), 1U);
    EXPECT_EQ(m_driver.countCalls("usb:1 stream 2 start"), 2U);
    m_device->destroyStream(stream);
    m_device->destroyStream(nullptr);
}

TEST_F(DeviceTest, DriverStreamsAreCreatedAndDestroyedWhileItIsOpen)
{
    EXPECT_EQ(m_device->createDriverStream(2), nullptr);
    open();
    NubrixBaseStream *const stream = m_device->createDriverStream(2);
    ASSERT_NE(stream, nullptr);
    m_device->destroyDriverStream(stream);
    EXPECT_THAT(m_driver.takeCalls(), ElementsAre("usb:1 createStream 2", "usb:1 destroyStream 2"));
    m_driver.results.createStream = -1;
    EXPECT_EQ(m_device->createDriverStream(2), nullptr);
    m_driver.results.createStream = 0;
    NubrixBaseStream *const orphan = m_device->createDriverStream(2);
    close();
    m_driver.takeCalls();
    m_device->destroyDriverStream(orphan);
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
}

TEST_F(DeviceTest, SensorsAreStoppedInTheOrderOfTheirTypes)
{
    open();
    std::vector<std::unique_ptr<VideoStream>> streams;
    for (const unsigned int type : {32U, 1U, 4U, 2U}) {
        streams.push_back(createStream(type));
        ASSERT_EQ(streams.back()->start(), 0);
    }
    m_driver.takeCalls();
    m_device->stopSensors();
    EXPECT_THAT(m_driver.takeCalls(), ElementsAre("usb:1 stream 1 stop", "usb:1 stream 2 stop",
                                                  "usb:1 stream 4 stop", "usb:1 stream 32 stop"));
}

TEST_F(DeviceTest, ClosingAllStreamsIsPassedToTheDriver)
{
    m_device->closeAllStreams();
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
    open();
    m_device->closeAllStreams();
    EXPECT_THAT(m_driver.takeCalls(), ElementsAre("usb:1 closeAllStreams"));
}

TEST_F(DeviceTest, PropertiesOfAClosedDeviceAreRefusedWithAnErrorNumber)
{
    unsigned char data[4] = {};
    unsigned int size = sizeof(data);
    EXPECT_EQ(m_device->setProperty(75, data, size), -3);
    EXPECT_EQ(g_nubrixErrno, 0x80300102U);
    g_nubrixErrno = 0;
    EXPECT_EQ(m_device->getProperty(75, data, &size), -3);
    EXPECT_EQ(g_nubrixErrno, 0x80300102U);
    g_nubrixErrno = 0;
    EXPECT_EQ(m_device->propertyTranspraentTransmission(data, 4, data, &size), -3);
    EXPECT_EQ(g_nubrixErrno, 0x80300102U);
    EXPECT_THAT(m_log.take(), IsEmpty());
}

TEST_F(DeviceTest, ADriversDeviceIsNotClosedDuringACall)
{
    for (int life = 0; life < 50; ++life) {
        open();
        std::atomic<bool> asked{false};
        std::thread asker([&] {
            unsigned char data[4] = {};
            unsigned int size = sizeof(data);
            while (m_device->getProperty(72, data, &size) != -3)
                asked = true;
        });
        while (!asked)
            std::this_thread::yield();
        EXPECT_EQ(m_device->close(), 0);  // sanitizers see the driver's device die too early
        asker.join();
    }
}

TEST_F(DeviceTest, PropertiesReachTheDriverWithAllTheirArguments)
{
    open();
    unsigned char in[4] = {1, 2, 3, 4};
    unsigned char out[8] = {};
    unsigned int size = sizeof(out);
    EXPECT_EQ(m_device->setProperty(75, in, 4), 0);
    EXPECT_EQ(m_device->getProperty(75, out, &size), 0);
    EXPECT_EQ(size, 4U);
    EXPECT_EQ(out[3], 4);
    size = sizeof(out);
    EXPECT_EQ(m_device->propertyTranspraentTransmission(in, 4, out, &size), 0);
    EXPECT_EQ(size, 4U);
    EXPECT_EQ(out[0], 4);
    EXPECT_THAT(m_driver.takeCalls(),
                ElementsAre("usb:1 setProperty 75 01020304", "usb:1 getProperty 75 8",
                            "usb:1 propertyTranspraentTransmission 01020304 8"));
}

TEST_F(DeviceTest, ResultsOfTheDriverForPropertiesAreUnchanged)
{
    open();
    m_driver.results.setProperty = 7;
    m_driver.results.getProperty = -20;
    m_driver.results.transparent = 9;
    unsigned char data[4] = {};
    unsigned int size = sizeof(data);
    EXPECT_EQ(m_device->setProperty(1, data, size), 7);
    EXPECT_EQ(m_device->getProperty(1, data, &size), -20);
    EXPECT_EQ(m_device->propertyTranspraentTransmission(data, 4, data, &size), 9);
    EXPECT_EQ(g_nubrixErrno, 0U);
}

TEST_F(DeviceTest, StateAndKeepAliveComeFromTheDriver)
{
    open();
    m_driver.device()->state = 5;
    m_driver.device()->keepLive = -2;
    EXPECT_EQ(m_device->deviceState(), 5);
    EXPECT_EQ(m_device->keepLiveState(), -2);
}

TEST_F(DeviceTest, FrameModesComeFromTheDriver)
{
    open();
    unsigned int type = 2;
    EXPECT_EQ(m_device->getCurrentFrameMode(type), nullptr);
    EXPECT_EQ(m_device->setFrameMode(type, {0, 640, 480, 30}, true), 0);
    const typedefNubrixFrameMode *const mode = m_device->getCurrentFrameMode(type);
    ASSERT_NE(mode, nullptr);
    EXPECT_EQ(mode->width, 640);
    m_driver.results.setFrameMode = 7;
    EXPECT_EQ(m_device->setFrameMode(type, {0, 320, 240, 15}, false), 7);
    m_driver.setModes({{0, 320, 240, 15}, {0, 640, 480, 30}});
    const typedefNubrixFrameMode *modes = nullptr;
    unsigned int count = 0;
    EXPECT_EQ(m_device->getSupportFrameMode(type, &modes, &count), 0);
    ASSERT_EQ(count, 2U);
    EXPECT_EQ(modes[1].height, 480);
    EXPECT_THAT(
        m_driver.takeCalls(),
        ElementsAre("usb:1 getCurrentFrameMode 2", "usb:1 setFrameMode 2 640x480@30 restart",
                    "usb:1 getCurrentFrameMode 2", "usb:1 setFrameMode 2 320x240@15",
                    "usb:1 getSupportFrameMode 2"));
}

TEST_F(DeviceTest, AClosedDeviceHasNoFrameModes)
{
    unsigned int type = 2;
    const typedefNubrixFrameMode *modes = nullptr;
    unsigned int count = 0;
    EXPECT_EQ(m_device->getCurrentFrameMode(type), nullptr);
    EXPECT_EQ(m_device->setFrameMode(type, {0, 640, 480, 30}, true), -3);
    EXPECT_EQ(m_device->getSupportFrameMode(type, &modes, &count), -3);
    EXPECT_EQ(m_device->setTemperatureParamsFilePath("/tmp/t"), -3);
}

TEST_F(DeviceTest, DestructionReturnsStreamsAndDoesNotCloseTheCamera)
{
    open();
    const unsigned int types[] = {2, 1};
    for (const unsigned int type : types) {
        const auto stream = createStream(type);
        ASSERT_EQ(stream->start(), 0);
    }
    m_driver.takeCalls();
    m_device.reset();
    EXPECT_THAT(m_driver.takeCalls(),
                testing::UnorderedElementsAre("usb:1 destroyStream 1", "usb:1 destroyStream 2"));
    EXPECT_NE(m_driver.device("usb:1"), nullptr);
}

TEST_F(DeviceTest, DestructionAfterACloseDoesNotCallTheDriver)
{
    open();
    {
        const auto stream = createStream(2);
        ASSERT_EQ(stream->start(), 0);
    }
    close();
    m_driver.takeCalls();
    m_device.reset();
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
}

TEST_F(DeviceTest, AFailedCloseLeavesTheDriversStreamsInUse)
{
    open();
    const auto stream = createStream(2);
    ASSERT_EQ(stream->start(), 0);
    m_driver.setHook([](const std::string &call) {
        if (call == "closeDevice usb:1")
            throw std::runtime_error("not now");
    });
    EXPECT_THROW(m_device->close(), std::runtime_error);
    m_driver.setHook(nullptr);
    m_driver.takeCalls();
    stream->stop();
    EXPECT_THAT(m_driver.takeCalls(), ElementsAre("usb:1 stream 2 stop"));
    ASSERT_EQ(stream->start(), 0);
    EXPECT_EQ(m_driver.countCalls("usb:1 createStream 2"), 0U) << "it still has the first one";
    stream->stop();
}

}  // namespace
}  // namespace nubrix
