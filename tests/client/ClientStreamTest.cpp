#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/client/ClientFixture.h"

namespace nubrix {
namespace {

using testing::HasSubstr;

class ClientStreamTest : public ClientTest {
protected:
    Session m_session;
    Camera m_camera = m_session.open();
};

TEST_F(ClientStreamTest, EveryFrameOfACameraThatWaitsComesOnce)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    unsigned int expected = depth.next(kLong).index();
    for (const Frame &frame : depth) {
        ASSERT_EQ(frame.index(), ++expected);
        if (expected > 50)
            break;
    }
    const client::StreamFigures figures = depth.figures();
    EXPECT_GE(figures.frames, 50U);
    EXPECT_EQ(figures.dropped, 0U);
    EXPECT_EQ(figures.missing, 0U);
    EXPECT_GT(figures.framesPerSecond, 0);
    depth.stop();
    EXPECT_TRUE(
        eventually([&] { return depth.figures().framesPerSecond < figures.framesPerSecond / 2; }));
}

TEST_F(ClientStreamTest, AFunctionGetsThemInPlaceOfTheLoop)
{
    Counter calls;
    Stream depth = m_camera.start(StreamType::kDepth);
    // The camera waits for this one, which the function does not get.
    ASSERT_TRUE(eventually([&] { return depth.figures().queued == 1; }));
    depth.onFrame([&](const Frame &frame) {
        EXPECT_EQ(frame.type(), StreamType::kDepth);
        calls.add();
    });
    ASSERT_TRUE(calls.reaches(20));
    depth.stop();
    const int last = calls.value();
    EXPECT_TRUE(depth.isOver());
    EXPECT_FALSE(depth.tryNext());
    EXPECT_THROW(depth.next(kShort), Error) << "it was stopped";
    EXPECT_EQ(calls.value(), last);
}

TEST_F(ClientStreamTest, AFunctionThatAStreamStartsWithGetsEveryFrame)
{
    std::vector<unsigned int> indices;
    Latch done;
    Stream depth = m_camera.start(StreamType::kDepth, [&](const Frame &frame) {
        if (indices.size() < 20)
            indices.push_back(frame.index());
        else
            done.open();
    });
    ASSERT_TRUE(done.pass());
    EXPECT_NO_THROW(depth.check());
    EXPECT_EQ(depth.figures().dropped, 0U);
    depth.stop();
    for (unsigned int i = 0; i < indices.size(); ++i)
        EXPECT_EQ(indices[i], i);
    EXPECT_THROW(depth.check(), Error) << "it was stopped";
}

TEST_F(ClientStreamTest, WhatTheFunctionThrowsEndsTheStreamAndIsReportedOnce)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    depth.onFrame([](const Frame &) { throw std::logic_error("out of tea"); });
    try {
        depth.next(kLong);
        FAIL() << "a frame";
    } catch (const client::Timeout &) {
        FAIL() << "the reader was not woken";
    } catch (const Error &error) {
        EXPECT_STREQ(error.operation(), "onFrame");
        EXPECT_THAT(error.what(), HasSubstr("out of tea"));
    }
    EXPECT_NO_THROW(depth.stop());
}

TEST_F(ClientStreamTest, AnErrorOfTheFunctionKeepsItsClass)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    Latch called;
    depth.onFrame([&](const Frame &frame) {
        called.open();
        frame.image<unsigned char>();
    });
    ASSERT_TRUE(called.pass());
    EXPECT_THROW(depth.stop(), client::Unsupported);
}

TEST_F(ClientStreamTest, AnythingElseThatTheFunctionThrowsIsAnErrorForTheLoop)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    depth.onFrame([](const Frame &) { throw 1; });
    EXPECT_THROW(for (const Frame &frame : depth) EXPECT_FALSE(frame), Error);
}

TEST_F(ClientStreamTest, AFunctionMayStopAndDestroyItsStream)
{
    auto depth = std::make_unique<Stream>(m_camera.start(StreamType::kDepth));
    Counter calls;
    Latch destroyed;
    depth->onFrame([&](const Frame &frame) {
        calls.add();
        depth->stop();
        depth.reset();
        EXPECT_GT(frame.size(), 0U);
        destroyed.open();
    });
    ASSERT_TRUE(destroyed.pass());
    EXPECT_EQ(calls.value(), 1);
}

TEST_F(ClientStreamTest, EveryStopWaitsForAFunctionThatRuns)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    Latch stopped;
    std::atomic<bool> hasReturned{false};
    depth.onFrame([&](const Frame &) {
        depth.stop();
        stopped.open();
        std::this_thread::sleep_for(kShort);  // the others are to wait as long
        hasReturned = true;
    });
    ASSERT_TRUE(stopped.pass());
    depth.stop();
    EXPECT_TRUE(hasReturned);
}

TEST_F(ClientStreamTest, AFunctionThatIsReplacedDoesNotRunAfterwards)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    for (const bool another : {false, true}) {
        Latch entered;
        std::atomic<bool> runs{false};
        depth.onFrame([&](const Frame &) {
            runs = true;
            entered.open();
            std::this_thread::sleep_for(kShort);  // the replacement is to wait as long
            runs = false;
        });
        ASSERT_TRUE(entered.pass());
        depth.onFrame(another ? [](const Frame &) {} : std::function<void(Frame)>());
        EXPECT_FALSE(runs);
    }
}

TEST_F(ClientStreamTest, AFunctionMayReplaceItself)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    Counter calls;
    depth.onFrame([&](const Frame &) { depth.onFrame([&](const Frame &) { calls.add(); }); });
    EXPECT_TRUE(calls.reaches(3));
}

TEST_F(ClientStreamTest, AStreamThatHasEndedTakesNoFunction)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    depth.stop();
    try {
        depth.onFrame([](const Frame &) {});
        FAIL() << "it was taken";
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), -2);
    }
    EXPECT_NO_THROW(depth.onFrame(nullptr));
}

TEST_F(ClientStreamTest, AFunctionMayHoldItsStream)
{
    Counter calls;
    const auto depth = std::make_shared<Stream>(m_camera.start(StreamType::kDepth));
    std::weak_ptr<Stream> watched = depth;
    depth->onFrame([&calls, depth](const Frame &) { calls.add(); });
    ASSERT_TRUE(calls.reaches(3));
    depth->stop();  // destroys the function
    EXPECT_EQ(watched.use_count(), 1);
}

TEST_F(ClientStreamTest, AStopEndsTheLoopOfAnotherThread)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    EXPECT_FALSE(depth.isOver());
    Counter frames;
    std::thread loop([&] {
        for (const Frame &frame : depth) {
            EXPECT_TRUE(frame);
            frames.add();
        }
    });
    ASSERT_TRUE(frames.reaches(3));
    depth.stop();
    loop.join();
}

TEST_F(ClientStreamTest, SeveralStreamsOfATypeShareTheFrames)
{
    struct Reader {
        std::map<unsigned int, const void *>
            seen;  // on its stream's thread, until that has stopped
        Counter frames;
        void read(Stream &stream)
        {
            stream.onFrame([this](const Frame &frame) {
                seen[frame.index()] = frame.data();
                frames.add();
            });
        }
    };
    Reader one;
    Reader two;
    Stream first = m_camera.start(StreamType::kDepth);
    Stream second = m_camera.start(StreamType::kDepth);
    one.read(first);
    two.read(second);
    ASSERT_TRUE(one.frames.reaches(30));
    ASSERT_TRUE(two.frames.reaches(30));
    first.stop();
    second.stop();
    int common = 0;
    for (const auto &[index, data] : one.seen) {
        const auto found = two.seen.find(index);
        if (found == two.seen.end())
            continue;
        ++common;
        EXPECT_EQ(data, found->second) << "frame " << index;
    }
    EXPECT_GT(common, 0);
}

TEST_F(ClientStreamTest, ASecondReaderOfAStreamTakesOtherFrames)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    std::mutex lock;
    std::set<unsigned int> seen;
    const auto read = [&] {
        for (int i = 0; i < 20; ++i) {
            const unsigned int index = depth.next(kLong).index();
            const std::lock_guard<std::mutex> guard(lock);
            EXPECT_TRUE(seen.insert(index).second);
        }
    };
    std::thread other(read);
    read();
    other.join();
    EXPECT_EQ(seen.size(), 40U);
}

TEST_F(ClientStreamTest, OneOfSeveralIsWaitedFor)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    Stream color = m_camera.start(StreamType::kColor);
    int seen[2] = {0, 0};
    while (seen[0] < 10 || seen[1] < 10) {
        Stream &ready = client::waitAny({&depth, &color}, kLong);
        if (const Frame frame = ready.tryNext())
            ++seen[frame.type() == StreamType::kDepth ? 0 : 1];
    }
    EXPECT_THROW(client::waitAny({}, kShort), Error);
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(client::waitAny({&depth, &color}, client::Milliseconds::max()).tryNext());
    depth.stop();
    color.stop();
    try {
        client::waitAny({&depth, &color}, kLong);
        FAIL() << "a stream";
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), -2);
        EXPECT_THAT(error.what(), HasSubstr("all have ended"));
    }
}

TEST_F(ClientStreamTest, ReadersOfDifferentStreamsDoNotWaitForEachOther)
{
    Stream silent = m_camera.start(StreamType::kInfrared);
    Latch waits;
    Latch done;
    const Frame held = silent.next(kLong);  // until it is returned, the camera sends no other
    std::thread waiting([&] {
        waits.open();
        EXPECT_FALSE(silent.begin() != silent.end());
        done.open();
    });
    ASSERT_TRUE(waits.pass());
    Stream depth = m_camera.start(StreamType::kDepth);
    for (int i = 0; i < 50; ++i)
        EXPECT_TRUE(depth.next(kLong));
    EXPECT_FALSE(done.isOpen());
    silent.stop();
    waiting.join();
}

// --- a camera that does not wait

struct ClientRealTimeTest : ClientTest {
    ClientRealTimeTest() : ClientTest(R"({"frame_rate": 120})") {}
    Camera m_camera = Session().open();
};

TEST_F(ClientRealTimeTest, AnApplicationThatHoldsAllFramesLearnsWhoHasThem)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    std::vector<Frame> held;
    std::string text;
    // A machine that is slow lets the time pass before the frames are used up.
    while (held.size() < 9 || text.empty()) {
        try {
            held.push_back(depth.next(std::chrono::milliseconds(500)));
            ASSERT_LE(held.size(), 10U);
            text.clear();
        } catch (const client::Timeout &error) {
            text = error.what();
        }
    }
    EXPECT_EQ(depth.figures().held, static_cast<int>(held.size()));
    EXPECT_THAT(text, HasSubstr("of the 10 frames of depth of usb:virtual-VIRT0001 the application "
                                "holds " +
                                std::to_string(held.size()) + ", its queues 0 and the library " +
                                std::to_string(10 - held.size()) + ": release some"));
    Stream infrared = m_camera.start(StreamType::kInfrared);
    infrared.onFrame([](const Frame &) {});
    try {
        client::waitAny({&infrared, &depth}, kShort);
        FAIL() << "a frame";
    } catch (const client::Timeout &error) {
        EXPECT_THAT(error.what(), HasSubstr("depth of usb:virtual-VIRT0001 the application holds"));
    }
    held.clear();
    EXPECT_TRUE(depth.next(kLong));
}

TEST_F(ClientRealTimeTest, ALoopThatHoldsAllFramesLearnsWhoHasThem)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    std::vector<Frame> held;
    try {
        for (const Frame &frame : depth)
            held.push_back(frame);
        FAIL() << "it ended";
    } catch (const client::Timeout &error) {
        EXPECT_THAT(error.what(),
                    HasSubstr("the application holds " + std::to_string(held.size())));
    }
}

TEST_F(ClientRealTimeTest, AReaderThatIsSlowGetsTheNewestFramesAndTheFigures)
{
    Stream depth = m_camera.start(StreamType::kDepth, std::nullopt, 2);
    ASSERT_TRUE(eventually([&] { return depth.figures().frames >= 40; }));
    const client::StreamFigures before = depth.figures();
    EXPECT_EQ(before.queued, 2);
    EXPECT_EQ(before.held, 0);
    EXPECT_GE(before.dropped, 38U);
    EXPECT_GT(before.framesPerSecond, 1);
    EXPECT_LT(before.framesPerSecond, 1000);
    const Frame frame = depth.next(kLong);
    EXPECT_GE(frame.index(), 38U);
    const client::StreamFigures after = depth.figures();
    EXPECT_EQ(after.held, 1);
    EXPECT_GT(after.age.count(), 0);
}

TEST_F(ClientRealTimeTest, TheLargestQueueAndAFrameInHandStopNoFrame)
{
    EXPECT_THROW(m_camera.start(StreamType::kDepth, std::nullopt, 6), Error);
    EXPECT_THROW(m_camera.start(StreamType::kDepth, std::nullopt, 0), Error);
    Stream depth = m_camera.start(StreamType::kDepth, std::nullopt, 5);
    const Frame held = depth.next(kLong);
    ASSERT_TRUE(eventually([&] { return depth.figures().frames >= 60; }));
    EXPECT_EQ(depth.figures().queued, 5);
    EXPECT_GE(depth.next(kLong).index(), 50U) << "the newest are kept";
}

struct ClientLossTest : ClientTest {
    ClientLossTest()
        : ClientTest(
              R"({"pacing": "free", "faults": [{"type": "drop", "at_frame": 3, "count": 4}]})")
    {
    }
};

TEST_F(ClientLossTest, FramesThatTheCameraLostAreMissing)
{
    Camera camera = Session().open();
    Stream depth = camera.start(StreamType::kDepth);
    while (depth.next(kLong).index() < 10) {
    }
    const client::StreamFigures figures = depth.figures();
    EXPECT_EQ(figures.missing, 4U);
    EXPECT_EQ(figures.dropped, 0U);
}

}  // namespace
}  // namespace nubrix
