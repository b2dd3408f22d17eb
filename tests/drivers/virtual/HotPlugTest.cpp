#include "virtual/VirtualCamera.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "tests/drivers/virtual/VirtualCameraFixture.h"

namespace nubrix::virtual_camera {
namespace {

using testing::ElementsAre;

/// One call of the state callback.
struct StateEvent {
    std::string text;
    std::thread::id thread;
};

class HotPlugTest : public VirtualCameraTest {
protected:
    /// Like useScenario, with a state callback that is registered first.
    void useHotPlug(const std::string &json)
    {
        const auto parsed = parseScenario(json, ".");
        ASSERT_TRUE(std::holds_alternative<Scenario>(parsed))
            << std::get<ScenarioError>(parsed).text("scenario");
        m_driver = std::make_unique<VirtualDriver>();
        ASSERT_EQ(m_driver->setDeviceStateCallback(&HotPlugTest::onState, this), 0);
        ASSERT_EQ(m_driver->initializeWith(std::get<Scenario>(parsed), "scenario"), 0);
    }

    bool awaitEvents(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_arrived.wait_for(lock, kDeadline, [&] { return m_events.size() >= count; });
    }

    std::vector<std::string> events()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        std::vector<std::string> texts;
        for (const StateEvent &event : m_events)
            texts.push_back(event.text);
        return texts;
    }

    ~HotPlugTest() override { m_driver.reset(); }

    std::function<void()> m_during;  // set before the driver is created
    std::mutex m_lock;
    std::condition_variable m_arrived;
    std::vector<StateEvent> m_events;  // under m_lock

private:
    static void onState(const char *deviceAddr, const char *serial, const char *location,
                        unsigned int state, void *user)
    {
        auto *test = static_cast<HotPlugTest *>(user);
        if (test->m_during)
            test->m_during();
        const std::lock_guard<std::mutex> lock(test->m_lock);
        test->m_events.push_back(
            {std::string(deviceAddr) + " " + serial + " " + location + " " + std::to_string(state),
             std::this_thread::get_id()});
        test->m_arrived.notify_all();
    }
};

constexpr const char *kGone = "usb:virtual-VIRT0001 VIRT0001 virtual-1 1";
constexpr const char *kBack = "usb:virtual-VIRT0001 VIRT0001 virtual-1 0";

TEST_F(HotPlugTest, CamerasArriveAndLeaveAtTheirTimes)
{
    useHotPlug(R"({"cameras": 2, "faults": []})");
    EXPECT_EQ(list().size(), 2U);
    m_driver.reset();
    EXPECT_TRUE(events().empty());

    useHotPlug(R"({"cameras": [{"faults": [{"type": "unplug", "at_ms": 1},
        {"type": "plug", "at_ms": 2}, {"type": "unplug", "at_ms": 3}]}, {}]})");
    ASSERT_TRUE(awaitEvents(3));
    EXPECT_THAT(events(), ElementsAre(kGone, kBack, kGone));
    ASSERT_EQ(list().size(), 1U);
    EXPECT_STREQ(list().front().serialNumber, "VIRT0002");
}

TEST_F(HotPlugTest, ACameraThatIsUnpluggedAtTheStartCanArrive)
{
    useHotPlug(R"({"cameras": [{"plugged": false, "faults": [{"type": "plug", "at_ms": 5}]}]})");
    ASSERT_TRUE(awaitEvents(1));
    EXPECT_THAT(events(), ElementsAre(kBack));
    EXPECT_EQ(list().size(), 1U);
    EXPECT_NE(open(), nullptr);
}

TEST_F(HotPlugTest, PluggingOrUnpluggingWithoutAChangeNotifiesNobody)
{
    useHotPlug(R"({"faults": [{"type": "plug", "at_ms": 0}, {"type": "unplug", "at_ms": 1},
        {"type": "unplug", "at_ms": 2}, {"type": "plug", "at_ms": 3}]})");
    ASSERT_TRUE(awaitEvents(2));
    m_driver.reset();
    EXPECT_THAT(events(), ElementsAre(kGone, kBack));
}

TEST_F(HotPlugTest, UnpluggingAtAFrameEndsTheStreamJustBeforeIt)
{
    useHotPlug(R"({"pacing": "free", "faults": [{"type": "unplug", "at_frame": 5}]})");
    NubrixBaseDevice *device = open();
    TestStream stream(*device, NUBRIX_STREAM_IR);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(awaitEvents(1));
    EXPECT_THAT(stream.sink().indices(), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT(events(), ElementsAre(kGone));
    EXPECT_EQ(device->deviceState(), 1);
    EXPECT_EQ(device->keepLiveState(), 0);
    EXPECT_TRUE(list().empty());
    EXPECT_EQ(stream.stop(), 0);
}

TEST_F(HotPlugTest, OnlyTheStreamThatAFaultNamesUnplugs)
{
    useHotPlug(R"({"pacing": "free", "faults": [
        {"type": "unplug", "at_frame": 3, "stream": "depth"}]})");
    NubrixBaseDevice *device = open();
    setMode(*device, NUBRIX_STREAM_IR, 320, 240, 60);
    TestStream ir(*device, NUBRIX_STREAM_IR);
    TestStream depth(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(ir.start(), 0);
    ASSERT_TRUE(ir.sink().await(10));
    EXPECT_EQ(device->deviceState(), 0);
    ASSERT_EQ(depth.start(), 0);
    ASSERT_TRUE(awaitEvents(1));
    EXPECT_THAT(depth.sink().indices(), ElementsAre(0, 1, 2));
    EXPECT_EQ(device->deviceState(), 1);
}

TEST_F(HotPlugTest, ADisconnectedDeviceRefusesEverythingButClosing)
{
    useHotPlug(R"({"pacing": "free", "faults": [{"type": "unplug", "at_frame": 1}]})");
    NubrixBaseDevice *device = open();
    {
        TestStream stream(*device, NUBRIX_STREAM_IR);
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(awaitEvents(1));
        EXPECT_EQ(stream.stop(), 0);
        EXPECT_EQ(stream.start(), -9);
        NubrixBaseStream *other = nullptr;
        unsigned int value = 1;
        unsigned int size = sizeof value;
        EXPECT_EQ(device->createStream(NUBRIX_STREAM_DEPTH, &other), -9);
        EXPECT_EQ(device->setFrameMode(NUBRIX_STREAM_IR, {NUBRIX_PIXEL_GREY8, 320, 240, 30}, false),
                  -9);
        EXPECT_EQ(device->getProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &value, &size), -9);
        EXPECT_EQ(device->setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &value, size), -9);
    }
    NubrixBaseDevice *second = nullptr;
    EXPECT_EQ(m_driver->openDevice(kFirstUri, &second), -4);
    EXPECT_EQ(m_driver->closeDevice(&device), 0);
}

TEST_F(HotPlugTest, ACameraThatReturnedCanBeOpenedAgain)
{
    useHotPlug(R"({"pacing": "free", "faults": [{"type": "unplug", "at_frame": 2},
        {"type": "plug", "after_ms": 1}]})");
    NubrixBaseDevice *lost = open();
    NubrixBaseDevice *found = nullptr;
    {
        TestStream stream(*lost, NUBRIX_STREAM_IR);
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(awaitEvents(2));
        EXPECT_THAT(events(), ElementsAre(kGone, kBack));
        found = open();  // before the old one is closed
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(lost->deviceState(), 1) << "the old device stays lost";
        EXPECT_EQ(found->deviceState(), 0);
        TestStream again(*found, NUBRIX_STREAM_IR);
        ASSERT_EQ(again.start(), 0);
        EXPECT_TRUE(again.sink().await(10)) << "unplugging by frame happens once";
    }
    EXPECT_EQ(m_driver->closeDevice(&lost), 0);
    EXPECT_EQ(found->deviceState(), 0);
    EXPECT_EQ(m_driver->closeDevice(&found), 0);
}

TEST_F(HotPlugTest, UnpluggingWhileAFrameIsHeldEndsTheStream)
{
    useHotPlug(R"({"pacing": "free", "faults": [
        {"type": "unplug", "at_frame": 0, "stream": "depth"}]})");
    NubrixBaseDevice *device = open();
    TestStream ir(*device, NUBRIX_STREAM_IR);
    std::atomic<NubrixFrameRef *> held{nullptr};
    ir.sink().onFrame = [&](NubrixFrameRef *frame) {
        frame->incRef();
        held = frame;
    };
    ASSERT_EQ(ir.start(), 0);
    ASSERT_TRUE(ir.sink().await(1));
    TestStream depth(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(depth.start(), 0);
    ASSERT_TRUE(awaitEvents(1));
    held.load()->release();
    EXPECT_EQ(ir.stop(), 0);
    EXPECT_EQ(ir.sink().count(), 1U);
}

TEST_F(HotPlugTest, TheCallbackRunsOnAThreadOfTheDriverAndMayUseTheDriver)
{
    std::atomic<std::size_t> listed{99};
    m_during = [&] { listed = list().size(); };
    useHotPlug(R"({"pacing": "free", "faults": [{"type": "unplug", "at_frame": 1}]})");
    NubrixBaseDevice *device = open();
    TestStream stream(*device, NUBRIX_STREAM_IR);
    std::atomic<std::thread::id> delivery{};
    stream.sink().onFrame = [&](NubrixFrameRef *) { delivery = std::this_thread::get_id(); };
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(awaitEvents(1));
    EXPECT_EQ(listed, 0U);
    const std::lock_guard<std::mutex> lock(m_lock);
    EXPECT_NE(m_events.front().thread, std::this_thread::get_id());
    EXPECT_NE(m_events.front().thread, delivery.load());
}

TEST_F(HotPlugTest, DestroyingTheDriverWaitsForACallbackThatRuns)
{
    std::mutex gate;
    std::condition_variable changed;
    bool entered = false;
    bool opened = false;
    std::atomic<bool> left{false};
    m_during = [&] {
        std::unique_lock<std::mutex> lock(gate);
        entered = true;
        changed.notify_all();
        changed.wait(lock, [&] { return opened; });
        left = true;
    };
    useHotPlug(R"({"faults": [{"type": "unplug", "at_ms": 0}]})");
    {
        std::unique_lock<std::mutex> lock(gate);
        ASSERT_TRUE(changed.wait_for(lock, kDeadline, [&] { return entered; }));
    }
    std::thread destroyer([&] {
        m_driver.reset();
        EXPECT_TRUE(left);
    });
    {
        const std::lock_guard<std::mutex> lock(gate);
        opened = true;
        changed.notify_all();
    }
    destroyer.join();
}

TEST_F(HotPlugTest, DestroyingTheDriverDropsPendingEvents)
{
    useHotPlug(R"({"faults": [{"type": "unplug", "at_ms": 1000000000}]})");
    m_driver.reset();
    EXPECT_TRUE(events().empty());
}

TEST_F(HotPlugTest, CamerasArriveAndLeaveWithoutACallback)
{
    useScenario(R"({"pacing": "free", "faults": [{"type": "unplug", "at_frame": 1}]})");
    NubrixBaseDevice *device = open();
    TestStream stream(*device, NUBRIX_STREAM_IR);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(1));
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (device->deviceState() == 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    EXPECT_EQ(device->deviceState(), 1);
    EXPECT_TRUE(list().empty());
}

TEST_F(HotPlugTest, CamerasMayArriveAndLeaveAllTheTimeWhileInUse)
{
    std::string faults;
    for (int i = 0; i < 100; ++i)
        faults += std::string(i == 0 ? "" : ", ") + R"({"type": "unplug", "at_ms": )" +
                  std::to_string(2 * i) + R"(}, {"type": "plug", "at_ms": )" +
                  std::to_string(2 * i + 1) + "}";
    useHotPlug(R"({"pacing": "free", "faults": [)" + faults + "]}");
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (events().size() < 200 && std::chrono::steady_clock::now() < end) {
        NubrixBaseDevice *device = nullptr;
        if (m_driver->openDevice(kFirstUri, &device) != 0)
            continue;
        NubrixBaseStream *stream = nullptr;
        if (device->createStream(NUBRIX_STREAM_IR, &stream) == 0) {
            FakePool pool(stream->getFrameBufferSize());
            FrameSink sink;
            stream->setFrameAllocator(&pool);
            stream->setFrameCallback(&FrameSink::receive, &sink);
            stream->start();
            stream->stop();
            EXPECT_EQ(device->destroyStream(&stream), 0);
            EXPECT_EQ(pool.inUse(), 0);
        }
        EXPECT_EQ(m_driver->closeDevice(&device), 0);
    }
    EXPECT_EQ(events().size(), 200U);
    EXPECT_EQ(list().size(), 1U);
}

}  // namespace
}  // namespace nubrix::virtual_camera
