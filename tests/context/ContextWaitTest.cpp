// Waiting for frames of several streams.
#include <algorithm>
#include <atomic>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

NubrixStream *const kUntouched = unknownHandle<NubrixStream>();

/// A stream of each of two cameras.
class Waiting : public DeviceFixture {
protected:
    Waiting()
    {
        m_usb.takeCalls();
        m_net.takeCalls();
    }
    Outcome waiting(std::vector<NubrixStream *> streams, int timeoutMs, int count = 1 << 20)
    {
        m_ready = kUntouched;
        const int all = static_cast<int>(streams.size());
        return outcome([&] {
            return context().waitForStreams(streams.data(), std::min(count, all), &m_ready,
                                            timeoutMs);
        });
    }
    /// The calls of both drivers that a wait makes.
    std::vector<std::string> checks()
    {
        std::vector<std::string> calls = m_usb.takeCalls();
        for (const std::string &call : m_net.takeCalls())
            calls.push_back(call);
        return calls;
    }

    NubrixDevice *const m_other = open("net:1");
    NubrixStream *const m_stream = opened(NUBRIX_STREAM_COLOR);
    NubrixStream *const m_otherStream = opened(NUBRIX_STREAM_COLOR, m_other);
    NubrixStream *m_ready = kUntouched;
};

TEST_F(Waiting, ForNothingIsRefused)
{
    const Outcome refused = {-4, NUBRIX_ERR_URI_NOT_FOUND, {}};
    EXPECT_EQ(waiting({m_stream}, 100, 0), refused);
    EXPECT_EQ(waiting({m_stream}, 100, -1), refused);
    EXPECT_EQ(waiting({unknownHandle<NubrixStream>()}, 100, 0), refused)
        << "before the handles are looked at";
    ASSERT_EQ(context().destroy(), 0);
    EXPECT_EQ(waiting({m_stream}, 100, 0).status, -2) << "after the context is";
}

TEST_F(Waiting, ForAnUnknownStreamAmongOthersIsRefused)
{
    EXPECT_EQ(waiting({m_stream, kUntouched, m_otherStream}, 100),
              (Outcome{-13, NUBRIX_ERR_INVALID_STREAM, {kInvalidStream}}));
    EXPECT_THAT(checks(), IsEmpty());
    EXPECT_EQ(m_ready, kUntouched);
}

TEST_F(Waiting, InVainTimesOutWithoutAnError)
{
    waiting({m_stream}, 0);
    EXPECT_EQ(waiting({m_stream}, 0), (Outcome{-11, 0, {}}));
    EXPECT_EQ(waiting({m_stream, m_otherStream}, 30), (Outcome{-11, 0, {}}));
    EXPECT_EQ(m_ready, kUntouched);
}

TEST_F(Waiting, EachThreadHasAListenerOfItsOwn)
{
    const auto threadLines = [](const Outcome &outcome) {
        return std::count_if(outcome.log.begin(), outcome.log.end(), [](const std::string &line) {
            return line.rfind("4 StramListener ThradID = ", 0) == 0;
        });
    };
    EXPECT_EQ(threadLines(waiting({m_stream}, 0)), 1);
    EXPECT_EQ(threadLines(waiting({m_stream}, 0)), 0);
    EXPECT_EQ(threadLines(waiting({m_otherStream}, 0)), 0);
    std::thread([&] {
        EXPECT_EQ(threadLines(waiting({m_stream}, 0)), 1);
        EXPECT_EQ(threadLines(waiting({m_stream}, 0)), 0);
    }).join();
    ASSERT_EQ(context().destroy(), 0);
    ASSERT_EQ(context().initialize(), 0);
    NubrixStream *const again = opened(NUBRIX_STREAM_COLOR, open());
    EXPECT_EQ(threadLines(waiting({again}, 0)), 1) << "destroy forgets them";
}

TEST_F(Waiting, ReturnsTheStreamThatHasAFrame)
{
    for (FakeDriver *driver : {&m_usb, &m_net}) {
        std::atomic<bool> delivered{false};
        m_net.setHook([&](const std::string &call) {
            if (call == "net:1 keepLiveState" && !delivered.exchange(true)) {
                EXPECT_TRUE(driver->deliver(NUBRIX_STREAM_COLOR, {}));
            }
        });
        EXPECT_EQ(waiting({m_stream, m_otherStream}, 10000).status, 0);
        EXPECT_EQ(m_ready, driver == &m_usb ? m_stream : m_otherStream);
        m_net.setHook({});
    }
}

TEST_F(Waiting, ReturnsTheLastOfTwo)
{
    // Both frames arrive before the wait begins; witnesses confirm that they have been announced.
    std::vector<std::thread> witnesses;
    const auto announce = [&](FakeDriver &driver, NubrixStream *stream) {
        Counter notified;
        Counter listening;
        driver.setHook([&](const std::string &call) {
            if (call.find("keepLiveState") != std::string::npos)
                listening.add();
        });
        witnesses.emplace_back([&notified, this, stream] {
            NubrixStream *own = stream;
            EXPECT_EQ(context().waitForStreams(&own, 1, nullptr, -1), 0);
            notified.add();
        });
        EXPECT_TRUE(listening.reaches(1));
        EXPECT_TRUE(driver.deliver(NUBRIX_STREAM_COLOR, {}));
        EXPECT_TRUE(notified.reaches(1));
        driver.setHook({});
    };
    m_net.setHook([&](const std::string &) {
        m_net.setHook({});
        announce(m_usb, m_stream);
        announce(m_net, m_otherStream);
    });
    EXPECT_EQ(waiting({m_stream, m_otherStream}, 10000).status, 0);
    EXPECT_EQ(m_ready, m_otherStream);
    for (std::thread &witness : witnesses)
        witness.join();
}

TEST_F(Waiting, DoesNotNeedToKnowWhichStreamItWas)
{
    m_usb.setHook([&](const std::string &call) {
        if (call == "usb:1 keepLiveState") {
            EXPECT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {}));
        }
    });
    NubrixStream *stream = m_stream;
    EXPECT_EQ(context().waitForStreams(&stream, 1, nullptr, 10000), 0);
}

TEST_F(Waiting, OnTheSameStreamTwiceIsOneWait)
{
    m_usb.setHook([&](const std::string &call) {
        if (call == "usb:1 deviceState") {
            EXPECT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {}));
        }
    });
    EXPECT_EQ(waiting({m_stream, m_stream}, 10000).status, 0);
    EXPECT_EQ(m_ready, m_stream);
}

TEST_F(Waiting, LeavesTheFrameInItsStream)
{
    m_usb.setHook([&](const std::string &call) {
        if (call == "usb:1 keepLiveState") {
            EXPECT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {4}));
        }
    });
    ASSERT_EQ(waiting({m_stream}, 10000).status, 0);
    m_usb.setHook({});
    EXPECT_EQ(waiting({m_stream}, 0).status, -11) << "it is announced once";
    typedefNubrixFrame *frame = nullptr;
    ASSERT_EQ(context().readFrame(m_stream, &frame, 0), 0);
    EXPECT_EQ(frame->frameIndex, 4U);
    EXPECT_EQ(context().releaseFrame(frame), 0);
}

// The camera sends no other frame until this one is returned.
TEST_F(Waiting, ReadFrameReturnsAFrameThatArrivedAfterItsFirstLook)
{
    Counter witnessListens;
    Counter witnessNotified;
    m_usb.setHook([&](const std::string &call) {
        if (call == "usb:1 keepLiveState")
            witnessListens.add();
    });
    std::thread witness([&] {
        NubrixStream *stream = m_stream;
        EXPECT_EQ(context().waitForStreams(&stream, 1, nullptr, -1), 0);
        witnessNotified.add();
    });
    ASSERT_TRUE(witnessListens.reaches(1));
    // This thread has found no frame, and logs this line before it listens. All listeners have been
    // notified of the frame when the witness has.
    const std::thread::id reader = std::this_thread::get_id();
    m_log.setHook([&](const RecordedLine &line) {
        if (line.thread != reader || line.text.rfind("StramListener", 0) != 0)
            return;
        EXPECT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {6}));
        EXPECT_TRUE(witnessNotified.reaches(1));
    });
    typedefNubrixFrame *frame = nullptr;
    ASSERT_EQ(context().readFrame(m_stream, &frame, 100), 0);
    m_log.setHook({});
    EXPECT_EQ(frame->frameIndex, 6U);
    EXPECT_EQ(context().releaseFrame(frame), 0);
    witness.join();
}

TEST_F(Waiting, OneConnectedCameraIsEnough)
{
    EXPECT_EQ(waiting({m_stream, m_otherStream}, 0).status, -11);
    EXPECT_THAT(checks(),
                ElementsAre("usb:1 deviceState", "usb:1 keepLiveState", "net:1 keepLiveState"))
        << "the first that is connected ends the question";
    m_usb.device()->state = NUBRIX_DEVICE_DISCONNECTED;
    EXPECT_EQ(waiting({m_stream, m_otherStream}, 0).status, -11);
    EXPECT_THAT(checks(), ElementsAre("usb:1 deviceState", "usb:1 keepLiveState",
                                      "net:1 deviceState", "net:1 keepLiveState"));
}

TEST_F(Waiting, WithoutAConnectedCameraEndsAtOnce)
{
    m_usb.device()->state = NUBRIX_DEVICE_DISCONNECTED;
    m_net.device()->state = 5;
    EXPECT_EQ(waiting({m_stream, m_otherStream}, -1).status, -9);
    EXPECT_THAT(checks(), ElementsAre("usb:1 deviceState", "net:1 deviceState"));
    EXPECT_EQ(waiting({m_stream}, 0), (Outcome{-9, 0, {}}));
    EXPECT_EQ(m_ready, kUntouched);
    typedefNubrixFrame *frame = unknownHandle<typedefNubrixFrame>();
    EXPECT_EQ(context().readFrame(m_stream, &frame, 100), -9);
    EXPECT_EQ(frame, nullptr);
}

TEST_F(Waiting, TheLastCameraDecidesWhetherTheyAnswer)
{
    m_net.device()->keepLive = 0;
    EXPECT_EQ(waiting({m_stream, m_otherStream}, -1).status, -10);
    EXPECT_EQ(waiting({m_otherStream, m_stream}, 0).status, -11);
    EXPECT_EQ(waiting({m_otherStream}, -1), (Outcome{-10, 0, {}}));
    typedefNubrixFrame *frame = nullptr;
    EXPECT_EQ(context().readFrame(m_otherStream, &frame, -1), -10);
    m_net.device()->keepLive = -1;
    EXPECT_EQ(waiting({m_otherStream}, 0).status, -11) << "anything but 0 is an answer";
}

TEST_F(Waiting, ACameraThatIsPulledEndsALongWait)
{
    std::atomic<int> slices{0};
    m_usb.setHook([&](const std::string &call) {
        if (call == "usb:1 keepLiveState" && ++slices == 1)
            m_usb.device()->state = NUBRIX_DEVICE_DISCONNECTED;
    });
    EXPECT_EQ(waiting({m_stream}, -1).status, -9);
    EXPECT_EQ(slices, 1);
}

TEST_F(Waiting, ChecksTheCamerasOnceASecond)
{
    EXPECT_EQ(waiting({m_stream}, 2500).status, -11);
    EXPECT_EQ(m_usb.countCalls("usb:1 keepLiveState"), 3U);
    m_usb.takeCalls();
    EXPECT_EQ(waiting({m_stream}, 1000).status, -11);
    EXPECT_EQ(m_usb.countCalls("usb:1 keepLiveState"), 1U);
    m_usb.takeCalls();
    EXPECT_EQ(waiting({m_stream}, 1001).status, -11);
    EXPECT_EQ(m_usb.countCalls("usb:1 keepLiveState"), 2U);
}

TEST_F(Waiting, AnyOtherNegativeTimeIsAVeryLongOne)
{
    std::atomic<int> slices{0};
    m_usb.setHook([&](const std::string &call) {
        if (call == "usb:1 keepLiveState" && ++slices == 2) {
            EXPECT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {}));
        }
    });
    EXPECT_EQ(waiting({m_stream}, -2).status, 0);
    EXPECT_EQ(slices, 2);
}

TEST_F(Waiting, EndsWhenItsStreamWasClosedAndOpenedAgainMeanwhile)
{
    Counter listening;
    m_usb.setHook([&](const std::string &call) {
        if (call == "usb:1 keepLiveState")
            listening.add();
    });
    int result = 0;
    std::thread waiter([&] {
        NubrixStream *stream = m_stream;
        result = context().waitForStreams(&stream, 1, nullptr, -1);
    });
    ASSERT_TRUE(listening.reaches(1));
    m_usb.setHook({});
    ASSERT_EQ(context().closeStream(m_stream), 0);
    opened(NUBRIX_STREAM_COLOR);  // at the same address, as a rule
    waiter.join();
    EXPECT_EQ(result, -9);
}

TEST_F(Waiting, SeveralThreadsAreWokenForOneFrame)
{
    constexpr int kThreads = 4;
    Counter listening;
    m_usb.setHook([&](const std::string &call) {
        if (call == "usb:1 keepLiveState")
            listening.add();
    });
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            NubrixStream *stream = m_stream;
            NubrixStream *ready = nullptr;
            EXPECT_EQ(context().waitForStreams(&stream, 1, &ready, -1), 0);
            EXPECT_EQ(ready, m_stream);
        });
    }
    ASSERT_TRUE(listening.reaches(kThreads));
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {}));
    for (std::thread &thread : threads)
        thread.join();
}

}  // namespace
}  // namespace nubrix
