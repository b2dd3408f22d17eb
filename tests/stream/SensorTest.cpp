#include "stream/Sensor.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "tests/stream/StreamFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Receiver final : public sigslot::has_slots<sigslot::single_threaded> {
public:
    void onFrame(NubrixFrameRef *frame)
    {
        indices.push_back(frame->frame().frameIndex);
        thread = std::this_thread::get_id();
        const int references = frame->incRef();
        if (keep)
            kept.push_back(frame);
        else
            frame->release();
        others = references - 1;
    }
    void dropKept()
    {
        for (NubrixFrameRef *frame : kept)
            frame->release();
        kept.clear();
    }
    std::vector<unsigned int> indices;
    std::vector<NubrixFrameRef *> kept;
    std::thread::id thread;
    int others = 0;  // references that others held to the last frame
    bool keep = false;
};

class SensorTest : public StreamFixture {
protected:
    SensorTest() { m_sensor->newFrameSignal().connect(&m_receiver, &Receiver::onFrame); }

    const std::vector<std::string> m_startCalls{
        "usb:1 stream 2 setFrameCallback", "usb:1 stream 2 getFrameBufferSize",
        "usb:1 stream 2 setFrameAllocator", "usb:1 stream 2 start"};
    std::vector<std::string> startCallsAfter(std::vector<std::string> before) const
    {
        before.insert(before.end(), m_startCalls.begin(), m_startCalls.end());
        return before;
    }

    Receiver m_receiver;
    std::unique_ptr<Sensor> m_sensor = std::make_unique<Sensor>(m_device, kDepth);
};

TEST_F(SensorTest, ANewSensorHasNotCalledTheDriver)
{
    EXPECT_EQ(m_sensor->type(), kDepth);
    m_sensor.reset();
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
    EXPECT_THAT(m_log.take(), IsEmpty());
}

TEST_F(SensorTest, TheFirstStartMakesAndStartsTheDriverStream)
{
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_EQ(m_driver.takeCalls(), startCallsAfter({"usb:1 createStream 2"}));
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine(""), infoLine("get frame buffer size=64"),
                                          infoLine("Change buffer Size from [624640] to [64]"),
                                          infoLine("2 Sensor started")));
}

TEST_F(SensorTest, ADriverWithTheFirstBufferSizeNeedsNoChange)
{
    m_driver.frameBufferSize = 624640;
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine(""), infoLine("get frame buffer size=624640"),
                                          infoLine("Buffer Size do not need change[624640]"),
                                          infoLine("2 Sensor started")));
}

TEST_F(SensorTest, OnlyTheFirstStartAndTheLastStopActOnTheDriver)
{
    ASSERT_EQ(m_sensor->start(), 0);
    m_driver.takeCalls();
    m_log.take();
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("")));
    m_sensor->stop();
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("")));
    EXPECT_TRUE(deliver(1));
    m_sensor->stop();
    EXPECT_THAT(m_driver.takeCalls(), ElementsAre("usb:1 stream 2 stop"));
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("")));
    EXPECT_FALSE(deliver(2));
    EXPECT_THAT(m_receiver.indices, ElementsAre(1U));
}

TEST_F(SensorTest, AStopTooManyIsWithoutEffect)
{
    m_sensor->stop();
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_EQ(m_driver.countCalls("usb:1 stream 2 start"), 1U);
}

TEST_F(SensorTest, WithoutADriverStreamTheStartIsUnsupportedAndStillCounts)
{
    m_driver.results.createStream = -7;
    EXPECT_EQ(m_sensor->start(), -8);
    EXPECT_THAT(m_log.take(),
                ElementsAre(infoLine(""), errorLine("Created driver stream failed!")));
    m_driver.results.createStream = 0;
    m_driver.takeCalls();
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
    m_sensor->stop();
    m_sensor->stop();
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_EQ(m_driver.takeCalls(), startCallsAfter({"usb:1 createStream 2"}));
}

TEST_F(SensorTest, ADriverThatSucceedsWithoutAStreamIsUnsupportedToo)
{
    m_driver.givesNullStream = true;
    EXPECT_EQ(m_sensor->start(), -8);
    EXPECT_THAT(m_log.take(),
                ElementsAre(infoLine(""), errorLine("Created driver stream failed!")));
}

TEST_F(SensorTest, OnAClosedDeviceThereIsNoDriverStream)
{
    m_device.close();
    m_driver.takeCalls();
    EXPECT_EQ(m_sensor->start(), -8);
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
}

TEST_F(SensorTest, AResultOfTheDriversStartIsPassedOnAndTheStartStillCounts)
{
    m_driver.results.start = 7;
    EXPECT_EQ(m_sensor->start(), 7);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine(""), infoLine("get frame buffer size=64"),
                                          infoLine("Change buffer Size from [624640] to [64]")));
    m_driver.results.start = 0;
    m_driver.takeCalls();
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
    m_sensor->stop();
    m_sensor->stop();
    EXPECT_THAT(m_driver.takeCalls(), ElementsAre("usb:1 stream 2 stop"));
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_EQ(m_driver.takeCalls(), startCallsAfter({"usb:1 getCurrentFrameMode 2"}));
}

TEST_F(SensorTest, ARestartReusesTheStreamAndAppliesTheModeAgain)
{
    ASSERT_EQ(m_device.setFrameMode(kDepth, {NUBRIX_PIXEL_DEPTH_12_4, 640, 480, 30}, false), 0);
    ASSERT_EQ(m_sensor->start(), 0);
    m_sensor->stop();
    m_driver.takeCalls();
    m_log.take();
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_EQ(m_driver.takeCalls(), startCallsAfter({"usb:1 getCurrentFrameMode 2",
                                                     "usb:1 setFrameMode 2 640x480@30 restart"}));
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine(""), infoLine("get frame buffer size=64"),
                                          infoLine("Buffer Size do not need change[64]"),
                                          infoLine("2 Sensor started")));
    EXPECT_TRUE(deliver(1));
}

TEST_F(SensorTest, ARestartDoesNotReapplyAModeThatAnotherThreadSets)
{
    const typedefNubrixFrameMode old = {NUBRIX_PIXEL_DEPTH_12_4, 640, 480, 30};
    const typedefNubrixFrameMode next = {NUBRIX_PIXEL_DEPTH_12_4, 320, 240, 30};
    ASSERT_EQ(m_device.setFrameMode(kDepth, old, false), 0);
    ASSERT_EQ(m_sensor->start(), 0);
    m_sensor->stop();
    Counter isSetting;
    Counter hasStarted;
    m_driver.setHook([&](const std::string &call) {
        if (call != "usb:1 setFrameMode 2 320x240@30")
            return;
        isSetting.add();
        EXPECT_TRUE(hasStarted.reaches(1));
    });
    std::thread setter([&] { EXPECT_EQ(m_device.setFrameMode(kDepth, next, false), 0); });
    EXPECT_TRUE(isSetting.reaches(1));
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_EQ(m_driver.countCalls("usb:1 setFrameMode 2 640x480@30 restart"), 0U);
    hasStarted.add();
    setter.join();
    m_sensor->stop();
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_EQ(m_driver.countCalls("usb:1 setFrameMode 2 320x240@30 restart"), 1U);
}

TEST_F(SensorTest, ModesMayBeSetWhileThreadsRestartIt)
{
    // ThreadSanitizer reports a read of the driver's record while the driver writes it.
    std::thread setter([&] {
        for (unsigned short i = 1; i <= 200; ++i) {
            const typedefNubrixFrameMode mode = {NUBRIX_PIXEL_DEPTH_12_4, i, 480, 30};
            EXPECT_EQ(m_device.setFrameMode(kDepth, mode, false), 0);
        }
    });
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(m_sensor->start(), 0);
        m_sensor->stop();
    }
    setter.join();
    unsigned int type = kDepth;
    const typedefNubrixFrameMode *const mode = m_device.getCurrentFrameMode(type);
    ASSERT_NE(mode, nullptr);
    EXPECT_EQ(mode->height, 480);
}

TEST_F(SensorTest, ARestartWithoutACurrentModeAppliesNone)
{
    ASSERT_EQ(m_sensor->start(), 0);
    m_sensor->stop();
    m_driver.takeCalls();
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_EQ(m_driver.takeCalls(), startCallsAfter({"usb:1 getCurrentFrameMode 2"}));
}

TEST_F(SensorTest, AModeThatIsRefusedDoesNotHinderTheRestart)
{
    ASSERT_EQ(m_device.setFrameMode(kDepth, {0, 640, 480, 30}, false), 0);
    ASSERT_EQ(m_sensor->start(), 0);
    m_sensor->stop();
    m_driver.results.setFrameMode = -1;
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_EQ(m_driver.countCalls("usb:1 setFrameMode 2 640x480@30 restart"), 1U);
    EXPECT_TRUE(deliver(1));
}

TEST_F(SensorTest, AnotherBufferSizeOnRestartMakesThePoolForgetItsFrames)
{
    ASSERT_EQ(m_sensor->start(), 0);
    m_receiver.keep = true;
    ASSERT_TRUE(deliver(1));
    m_sensor->stop();
    m_driver.frameBufferSize = 128;
    m_log.take();
    EXPECT_EQ(m_sensor->start(), 0);
    EXPECT_THAT(m_log.take(), testing::Contains(infoLine("Change buffer Size from [64] to [128]")));
    // In addition to the frame still held, the pool has ten of the new size.
    for (unsigned int i = 0; i < 10; ++i)
        EXPECT_TRUE(deliver(i));
    EXPECT_FALSE(deliver(10));
    EXPECT_EQ(m_receiver.kept.front()->bufferSize(), 64U);
    EXPECT_EQ(m_receiver.kept.back()->bufferSize(), 128U);
    m_receiver.dropKept();
}

TEST_F(SensorTest, FramesReachAllReceiversInOrderOnTheDeliveringThread)
{
    Receiver second;
    m_sensor->newFrameSignal().connect(&second, &Receiver::onFrame);
    ASSERT_EQ(m_sensor->start(), 0);
    std::thread::id deliveringThread;
    std::thread driver([&] {
        deliveringThread = std::this_thread::get_id();
        EXPECT_TRUE(deliver(1));
        EXPECT_TRUE(deliver(2));
    });
    driver.join();
    EXPECT_EQ(m_receiver.thread, deliveringThread);
    EXPECT_THAT(m_receiver.indices, ElementsAre(1U, 2U));
    EXPECT_THAT(second.indices, ElementsAre(1U, 2U));
}

TEST_F(SensorTest, TheReferenceOfTheDriverIsNeitherTakenNorDropped)
{
    ASSERT_EQ(m_sensor->start(), 0);
    for (unsigned int i = 0; i < 50; ++i) {
        ASSERT_TRUE(deliver(i));
        ASSERT_EQ(m_receiver.others, 1);
    }
}

TEST_F(SensorTest, TenFramesHeldMakeTheNextDeliveryFail)
{
    m_receiver.keep = true;
    ASSERT_EQ(m_sensor->start(), 0);
    for (unsigned int i = 0; i < 10; ++i)
        ASSERT_TRUE(deliver(i));
    m_log.take();
    EXPECT_FALSE(deliver(10));
    EXPECT_THAT(m_log.take(), ElementsAre(errorLine("no available Frame!!!")));
    m_receiver.dropKept();
    EXPECT_TRUE(deliver(11));
    m_receiver.dropKept();
}

TEST_F(SensorTest, TheDriversCallbackLeadsToTheSensorOfItsContext)
{
    LooseFrame frame(5);
    frame.incRef();
    Sensor::onNewFrameCallBackFunc(&frame, m_sensor.get());
    EXPECT_THAT(m_receiver.indices, ElementsAre(5U));
    EXPECT_EQ(frame.release(), 0);
}

TEST_F(SensorTest, ADestroyedSensorReturnsTheDriverStreamWithoutStoppingIt)
{
    ASSERT_EQ(m_sensor->start(), 0);
    m_sensor->stop();
    m_driver.takeCalls();
    m_sensor.reset();
    EXPECT_THAT(m_driver.takeCalls(), ElementsAre("usb:1 destroyStream 2"));
}

TEST_F(SensorTest, ADestroyedSensorOfAClosedDeviceDoesNotCallTheDriver)
{
    ASSERT_EQ(m_sensor->start(), 0);
    m_sensor->stop();
    m_device.close();
    m_driver.takeCalls();
    m_sensor.reset();
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
}

TEST_F(SensorTest, AFrameOutlivesItsSensor)
{
    m_receiver.keep = true;
    ASSERT_EQ(m_sensor->start(), 0);
    ASSERT_TRUE(deliver(3));
    m_sensor->stop();
    m_sensor.reset();
    EXPECT_EQ(m_receiver.kept.front()->frame().frameIndex, 3U);
    m_receiver.dropKept();
}

TEST_F(SensorTest, ADestroyedSensorDisconnectsItsReceivers)
{
    Sensor other(m_device, NUBRIX_STREAM_COLOR);
    other.newFrameSignal().connect(&m_receiver, &Receiver::onFrame);
    m_sensor.reset();
    LooseFrame frame(1);
    frame.incRef();
    other.onNewFrame(&frame);
    EXPECT_THAT(m_receiver.indices, ElementsAre(1U));
    m_receiver.disconnect_all();
    frame.release();
}

TEST_F(SensorTest, ManyThreadsMayStartAndStopIt)
{
    const auto startAndStop = [this] {
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(m_sensor->start(), 0);
            m_sensor->stop();
        }
    };
    std::thread first(startAndStop);
    std::thread second(startAndStop);
    startAndStop();
    first.join();
    second.join();
    const std::size_t starts = m_driver.countCalls("usb:1 stream 2 start");
    EXPECT_GE(starts, 1U);
    EXPECT_EQ(m_driver.countCalls("usb:1 stream 2 stop"), starts);
    EXPECT_EQ(m_driver.countCalls("usb:1 createStream 2"), 1U);
    EXPECT_FALSE(deliver(1));
}

}  // namespace
}  // namespace nubrix
