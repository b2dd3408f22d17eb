#include <algorithm>
#include <cstdio>
#include <thread>
#include <utility>

#include "CameraFixture.h"
#include "EventClock.h"

namespace nubrix::vm {

namespace {

constexpr std::size_t kRounds = 20;

// Milliseconds from an event to the callback that followed from it.
class Delays {
public:
    void add(const std::vector<Clock::time_point> &events, bool first, Clock::time_point callback)
    {
        ASSERT_FALSE(events.empty());
        const std::chrono::duration<double, std::milli> delay =
            callback - (first ? events.front() : events.back());
        m_ms.push_back(delay.count());
    }

    double least() const { return at(0); }
    double median() const { return at(m_ms.size() / 2); }
    void print(const char *what) const
    {
        std::printf("figure: %s: %.0f ms (median of %zu; least %.0f, most %.0f)\n", what, median(),
                    m_ms.size(), at(0), at(m_ms.size() - 1));
    }

private:
    double at(std::size_t index) const
    {
        std::vector<double> sorted = m_ms;
        std::sort(sorted.begin(), sorted.end());
        return sorted.at(index);
    }
    std::vector<double> m_ms;
};

class HotPlug : public CameraFixture {};

}  // namespace

TEST_F(HotPlug, UnpluggedInMidStreamTheCameraComesBackTwentyTimes)
{
    for (std::size_t round = 0; round < kRounds && !HasFailure(); ++round) {
        NubrixDevice *camera = open();
        NubrixStream *depth = stream(camera, NUBRIX_STREAM_DEPTH);
        readRightFrame(depth, "depth");
        control("unplug");
        EXPECT_EQ(readUntil(depth, -9), -9);
        ASSERT_TRUE(changesReach(2 * round + 1));
        EXPECT_EQ(m_context->closeStream(depth), 0);
        EXPECT_EQ(m_context->closeDevice(camera), 0);
        control("plug");
        ASSERT_TRUE(changesReach(2 * round + 2));
    }
    const std::vector<Change> all = changes();
    EXPECT_EQ(all.size(), 2 * kRounds);
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i].state, i % 2 ? NUBRIX_DEVICE_CONNECTED : NUBRIX_DEVICE_DISCONNECTED);
        EXPECT_EQ(all[i].uri, "usb:1-1");
    }
}

// The kernel notifies udev, which works off its rules before it notifies anybody: in an emulated
// machine this takes longest.
TEST_F(HotPlug, PluggingInAndUnpluggingReachTheCallbackSoon)
{
    using Teller = EventClock::Teller;
    const EventClock events;
    Delays fromFirstKernelAdd;
    Delays fromLastKernelAdd;
    Delays fromUdevAdd;
    Delays fromUdevRemove;
    Delays fromKernelRemove;
    for (std::size_t round = 0; round < 5 && !HasFailure(); ++round) {
        const auto begin = Clock::now();
        control("unplug");
        ASSERT_TRUE(changesReach(2 * round + 1));
        control("plug");
        ASSERT_TRUE(changesReach(2 * round + 2));
        const std::vector<Change> all = changes();
        const auto gone = all[2 * round].when;
        const auto back = all[2 * round + 1].when;
        const auto late = back + std::chrono::milliseconds(1);
        fromUdevRemove.add(events.moments(Teller::kUdev, "remove", begin, late), false, gone);
        fromKernelRemove.add(events.moments(Teller::kKernel, "remove", begin, late), false, gone);
        fromFirstKernelAdd.add(events.moments(Teller::kKernel, "add", begin, late), true, back);
        fromLastKernelAdd.add(events.moments(Teller::kKernel, "add", begin, late), false, back);
        fromUdevAdd.add(events.moments(Teller::kUdev, "add", begin, late), false, back);
    }
    fromUdevRemove.print("unplugged, from udev's last event to the callback");
    fromKernelRemove.print("unplugged, from the kernel's last event to the callback");
    fromUdevAdd.print("plugged in, from udev's last event to the callback");
    fromLastKernelAdd.print("plugged in, from the kernel's last event to the callback");
    fromFirstKernelAdd.print("plugged in, from the kernel's first event to the callback");
    // The driver's own part, at its best: the machine is emulated, and others may use its
    // processor.
    EXPECT_LT(fromUdevRemove.least(), 100);
    EXPECT_LT(fromKernelRemove.least(), 200);
    EXPECT_LT(fromUdevAdd.least(), 200);
    // All of it, loosely.
    EXPECT_LT(fromUdevRemove.median(), 500);
    EXPECT_LT(fromUdevAdd.median(), 500);
}

// As when a service starts while the camera is being plugged in.
TEST_F(HotPlug, AContextThatBeginsWhileACameraComesFindsAllOfItOnce)
{
    for (int round = 0; round < 5 && !HasFailure(); ++round) {
        ASSERT_EQ(m_context->destroy(), 0);
        control("restart");
        std::this_thread::sleep_for(std::chrono::milliseconds(60 * round));  // here and there
        ASSERT_EQ(m_context->initialize(), 0);
        ASSERT_TRUE(eventually([this] { return cameraCount() == 1; }));
        NubrixDevice *camera = open();
        for (const auto &[type, name] : {std::pair{NUBRIX_STREAM_DEPTH, "depth"},
                                         {NUBRIX_STREAM_COLOR, "color"},
                                         {NUBRIX_STREAM_IR, "ir"}}) {
            SCOPED_TRACE(name + std::string(" in ") + std::to_string(round));
            NubrixStream *opened = stream(camera, type);
            if (typedefNubrixFrame *frame = nextFrame(opened)) {
                m_context->releaseFrame(frame);
            }
            EXPECT_EQ(m_context->closeStream(opened), 0);
        }
        EXPECT_EQ(m_context->closeDevice(camera), 0);
    }
}

TEST_F(HotPlug, WhatHappensWhileTheCallbackIsBusyIsToldAfterwards)
{
    holdCallback();
    for (int i = 0; i < 3; ++i) {  // three dozen events of its nodes
        ASSERT_NO_FATAL_FAILURE(replug());
    }
    ASSERT_TRUE(callbackIsHeld());
    releaseCallback();
    ASSERT_TRUE(eventually([this] {
        const std::vector<Change> all = changes();
        return all.size() >= 2 && all.back().state == NUBRIX_DEVICE_CONNECTED;
    }));
    const std::vector<Change> all = changes();
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i].state, i % 2 ? NUBRIX_DEVICE_CONNECTED : NUBRIX_DEVICE_DISCONNECTED) << i;
    }
    EXPECT_EQ(cameraCount(), 1U);
    NubrixDevice *camera = open();
    readRightFrame(stream(camera, NUBRIX_STREAM_DEPTH), "depth");
}

TEST_F(HotPlug, PluggedInAgainInMidStreamItStreamsAgain)
{
    NubrixDevice *camera = open();
    NubrixStream *depth = stream(camera, NUBRIX_STREAM_DEPTH);
    readRightFrame(depth, "depth");
    ASSERT_NO_FATAL_FAILURE(replug());
    EXPECT_EQ(readUntil(depth, -9), -9);
    EXPECT_EQ(m_context->closeStream(depth), 0);
    EXPECT_EQ(m_context->closeDevice(camera), 0);
    ASSERT_TRUE(changesReach(2));
    depth = stream(open(), NUBRIX_STREAM_DEPTH);
    readRightFrame(depth, "depth");
    EXPECT_EQ(changes().size(), 2U);
}

TEST_F(HotPlug, AContextEndsWhileCamerasComeAndGo)
{
    for (int round = 0; round < 3; ++round) {
        control("restart");
        EXPECT_EQ(m_context->destroy(), 0);
        EXPECT_EQ(m_context->initialize(), 0);
    }
    EXPECT_TRUE(eventually([this] { return cameraCount() == 1; }));
}

}  // namespace nubrix::vm
