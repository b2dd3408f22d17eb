// Cameras that are attached and do not answer: the kernel waits for them, and no call does for
// long.
#include <linux/uvcvideo.h>
#include <linux/videodev2.h>

#include <array>
#include <cerrno>
#include <future>

#include "tests/drivers/uvc/LineWatch.h"
#include "tests/drivers/uvc/UvcDeviceFixture.h"
#include "uvc/CallDeadline.h"
#include "uvc/NodeWorker.h"
#include "uvc/UvcStream.h"

namespace nubrix {
namespace {

constexpr unsigned int kBrightness = V4L2_CID_BRIGHTNESS;
constexpr std::chrono::seconds kSoon{20};  // a busy machine's second, and less than for ever

class SilentCameraTest : public UvcDeviceTest {
protected:
    void SetUp() override { keepDeadlines(); }
    FakeCamera &add(std::uint32_t code = V4L2_PIX_FMT_GREY)
    {
        m_camera = &addNode({code});
        m_camera->controls = {{kBrightness, 20}};
        return *m_camera;
    }
    void TearDown() override
    {
        m_camera->unblock();
        close();
        joinThreads();
        EXPECT_EQ(m_camera->openFiles(), 0);
    }
    static int set(UvcDevice &device, std::int32_t value)
    {
        return device.setProperty(kBrightness, &value, sizeof value);
    }
    /// What a call returns, and that it does.
    template <class Call>
    static int timed(Call call)
    {
        const auto begin = std::chrono::steady_clock::now();
        const int status = call();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, kSoon);
        return status;
    }
    /// Waits until the camera that was unblocked can be used again.
    static bool awaitAnswer(UvcDevice &device)
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (set(device, 33) != 0) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return true;
    }

private:
    FakeCamera *m_camera = nullptr;
};

TEST_F(SilentCameraTest, AControlTimesOutAndOthersAreRefusedUntilItIsBack)
{
    FakeCamera &camera = add();
    UvcDevice &device = open();
    const LineWatch lines;
    camera.block(VIDIOC_S_CTRL);
    EXPECT_EQ(timed([&] { return set(device, 7); }), -11);
    EXPECT_TRUE(camera.awaitBlocked());
    EXPECT_EQ(lines.count("usb:1-2 does not answer: VIDIOC_S_CTRL has not returned in time"), 1U);
    std::int32_t value = 5;
    unsigned int size = sizeof value;
    EXPECT_EQ(timed([&] { return device.getProperty(kBrightness, &value, &size); }), -11);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(lines.count("VIDIOC_G_CTRL has to wait for VIDIOC_S_CTRL, which has not returned"),
              1U);
    EXPECT_EQ(device.deviceState(), NUBRIX_DEVICE_CONNECTED);
    camera.unblock();
    EXPECT_TRUE(awaitAnswer(device));
    EXPECT_EQ(device.getProperty(kBrightness, &value, &size), 0);
    EXPECT_EQ(value, 33);
}

TEST_F(SilentCameraTest, AnAnswerThatComesLateIsNotWrittenToWhoeverAsked)
{
    FakeCamera &camera = add();
    camera.extension = {1, 2, 3};
    UvcDevice &device = open();
    camera.block(UVCIOC_CTRL_QUERY);
    {
        unsigned char request[] = {0x81, 4, 2, 0, 3, 0};
        const auto answer = std::make_unique<std::array<unsigned char, 3>>();
        unsigned int size = 3;
        EXPECT_EQ(timed([&] {
                      return device.propertyTranspraentTransmission(request, sizeof request,
                                                                    answer->data(), &size);
                  }),
                  -11);
    }
    camera.unblock();
    EXPECT_TRUE(awaitAnswer(device));
}

TEST_F(SilentCameraTest, AStartThatTimesOutKeepsItsFramesUntilTheKernelIsDone)
{
    FakeCamera &camera = add();
    UvcDevice &device = open();
    TestStream stream(device, NUBRIX_STREAM_IR);
    camera.block(VIDIOC_STREAMON);
    EXPECT_EQ(timed([&] { return stream.start(); }), -11);
    EXPECT_EQ(stream.pool().inUse(), 3);
    EXPECT_EQ(timed([&] { return stream.start(); }), -11);
    EXPECT_EQ(timed([&] { return stream.stop(); }), 0);
    camera.unblock();
    ASSERT_TRUE(awaitAnswer(device));
    EXPECT_EQ(stream.pool().inUse(), 0);
    EXPECT_FALSE(camera.isStreaming());
    EXPECT_EQ(camera.buffers(), 0U);
    ASSERT_EQ(stream.start(), 0);
    camera.captureAll(1);
    EXPECT_TRUE(stream.sink().await(1));
}

TEST_F(SilentCameraTest, StoppingAndClosingDoNotWait)
{
    for (const std::uint32_t code : {V4L2_PIX_FMT_GREY, V4L2_PIX_FMT_Z16}) {
        FakeCamera &camera = add(code);
        FakePool pool(64 * 48 * 4);
        FrameSink sink;
        UvcDevice &device = open();
        NubrixBaseStream *stream = nullptr;
        ASSERT_EQ(device.createStream(findSourceFormat(code)->streamType, &stream), 0);
        stream->setFrameAllocator(&pool);
        stream->setFrameCallback(&FrameSink::receive, &sink);
        ASSERT_EQ(stream->start(), 0);
        camera.block(VIDIOC_STREAMOFF);
        EXPECT_EQ(timed([&] { return stream->stop(); }), 0);
        EXPECT_EQ(timed([&] {
                      close();
                      return 0;
                  }),
                  0);
        EXPECT_EQ(camera.openFiles(), 1) << "the kernel is not done with it";
        EXPECT_EQ(pool.inUse(), code == V4L2_PIX_FMT_GREY ? 3 : 0);
        camera.unblock();
        joinThreads();
        EXPECT_EQ(camera.openFiles(), 0);
        EXPECT_EQ(camera.buffers(), 0U);
        EXPECT_EQ(pool.inUse(), 0);
        renewThreads();
        removeNodes();
    }
    add();
}

TEST_F(SilentCameraTest, ATimeoutOfTheKernelIsReportedLikeOneOfTheCamera)
{
    FakeCamera &camera = add();
    openErrors["0"] = ETIME;
    const LineWatch lines;
    EXPECT_EQ(tryOpen(), -11);
    EXPECT_EQ(lines.count("usb:1-2 does not answer ("), 1U);
    openErrors.clear();
    UvcDevice &device = open();
    TestStream stream(device, NUBRIX_STREAM_IR);
    std::size_t reported = 1;
    for (const unsigned long request : {VIDIOC_STREAMON, VIDIOC_QBUF}) {
        camera.fail(request, ETIME);
        EXPECT_EQ(stream.start(), -11);
        EXPECT_EQ(lines.count(" does not answer ("), ++reported) << request;
        camera.fail(request, 0);
    }
}

TEST_F(SilentCameraTest, WhatTheKernelWritesIsHeldWhileItsReleaseIsUnderWay)
{
    FakeCamera &camera = add();
    DriverThreads threads;
    std::unique_ptr<NodeIo> node;
    const auto opening = [&](std::unique_ptr<NodeIo> &opened) {
        opened = std::make_unique<FakeNode>(camera);
        return 0;
    };
    ASSERT_EQ(NodeWorker::open("usb:1-2", opening, threads, node), 0);
    camera.block(VIDIOC_S_CTRL);
    auto setting = std::async(std::launch::async, [&] {
        const CallDeadline unhurried(kUnhurried);
        v4l2_control control = {kBrightness, 7};
        return node->control(VIDIOC_S_CTRL, &control);
    });
    EXPECT_TRUE(camera.awaitBlocked());
    {
        const CallDeadline over(std::chrono::milliseconds(0));
        int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        EXPECT_EQ(node->control(VIDIOC_STREAMOFF, &type), ETIME);
    }
    camera.block(VIDIOC_STREAMOFF);
    EXPECT_EQ(setting.get(), 0);
    EXPECT_TRUE(camera.awaitBlocked());
    auto frames = std::make_shared<int>(3);
    const std::weak_ptr<int> held = frames;
    node->hold(std::move(frames));
    EXPECT_FALSE(held.expired()) << "the kernel still writes";
    camera.unblock();
    node.reset();
    threads.joinAll();
    EXPECT_TRUE(held.expired());
}

TEST_F(SilentCameraTest, OpeningTimesOut)
{
    add();
    std::promise<void> mayOpen;
    beforeOpen["0"] = [&] { mayOpen.get_future().wait(); };
    const LineWatch lines;
    EXPECT_EQ(timed([&] { return tryOpen(); }), -11);
    EXPECT_EQ(lines.count("usb:1-2 does not answer: open has not returned in time"), 1U);
    mayOpen.set_value();
    joinThreads();
}

TEST_F(SilentCameraTest, ManyThreadsAskTheSameNode)
{
    add();
    UvcDevice &device = open();
    std::vector<std::future<int>> all;
    for (int i = 0; i < 4; ++i) {
        all.push_back(std::async(std::launch::async, [&device, i] {
            const CallDeadline unhurried(kUnhurried);
            int failures = 0;
            for (int k = 0; k < 100; ++k)
                failures += set(device, i) != 0 ? 1 : 0;
            return failures;
        }));
    }
    for (auto &each : all)
        EXPECT_EQ(each.get(), 0);
}

TEST(CallDeadlineTest, OfNestedOnesTheOutermostCountsAndWaitsForTheApplicationDoNot)
{
    const auto begin = std::chrono::steady_clock::now();
    {
        const CallDeadline outer(std::chrono::hours(2));
        const auto end = CallDeadline::current();
        EXPECT_GE(end, begin + std::chrono::hours(2));
        {
            const CallDeadline inner;
            EXPECT_EQ(CallDeadline::current(), end);
            CallDeadline::suspendFor(
                [] { std::this_thread::sleep_for(std::chrono::milliseconds(2)); });
        }
        EXPECT_GE(CallDeadline::current() - end, std::chrono::milliseconds(2));
    }
    EXPECT_LT(CallDeadline::current(), begin + std::chrono::hours(1));
}

}  // namespace
}  // namespace nubrix
