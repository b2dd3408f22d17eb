#include <atomic>
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
}

TEST_F(ClientStreamTest, AFunctionGetsThemInPlaceOfTheLoop)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    Counter calls;
    depth.onFrame([&](const Frame &frame) {
        EXPECT_EQ(frame.type(), StreamType::kDepth);
        calls.add();
    });
    ASSERT_TRUE(calls.reaches(20));
    depth.stop();
    const int last = calls.value();
    EXPECT_FALSE(depth.tryNext() && calls.value() != last);
    EXPECT_THROW(depth.next(kShort), Error) << "it was stopped";
}

TEST_F(ClientStreamTest, WhatItThrowsEndsTheStreamAndComesFromStop)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    Latch thrown;
    depth.onFrame([&](const Frame &) {
        thrown.open();
        throw std::logic_error("the application's");
    });
    ASSERT_TRUE(thrown.pass());
    EXPECT_THROW(depth.stop(), std::logic_error);
    EXPECT_NO_THROW(depth.stop());
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

TEST_F(ClientStreamTest, AStopEndsTheLoopOfAnotherThread)
{
    Stream depth = m_camera.start(StreamType::kDepth);
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

TEST_F(ClientStreamTest, AnApplicationThatHoldsAllFramesIsToldSo)
{
    Camera camera = m_camera;
    std::vector<Frame> held;
    Stream depth = camera.start(StreamType::kDepth, std::nullopt, 10);
    try {
        for (int i = 0; i < 20; ++i)
            held.push_back(depth.next(std::chrono::milliseconds(300)));
        FAIL() << "frames without end";
    } catch (const client::Timeout &error) {
        EXPECT_THAT(error.what(), HasSubstr("no frame in 300 ms"));
    }
    held.clear();
    EXPECT_TRUE(depth.next(kLong));
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
}

TEST_F(ClientStreamTest, ReadersOfDifferentStreamsDoNotWaitForEachOther)
{
    Stream silent = m_camera.start(StreamType::kInfrared);
    const Frame first = silent.next(kLong);
    // The camera waits for the frame: no other comes.
    std::thread waiting(
        [&] { EXPECT_THROW(silent.next(std::chrono::seconds(2)), client::Timeout); });
    Stream depth = m_camera.start(StreamType::kDepth);
    for (int i = 0; i < 50; ++i)
        EXPECT_TRUE(depth.next(kLong));
    waiting.join();
}

}  // namespace
}  // namespace nubrix
