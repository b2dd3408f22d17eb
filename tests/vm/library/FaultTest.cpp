#include "CameraFixture.h"

namespace nubrix::vm {

namespace {

constexpr unsigned int kShort = 1;  // flags of the driver
constexpr unsigned int kDamaged = 8;

class Faults : public CameraFixture {
protected:
    void SetUp() override
    {
        m_camera = open();
        m_depth = stream(m_camera, NUBRIX_STREAM_DEPTH);
        readRightFrame(m_depth, "depth");
    }

    // The frame index of the next frame, which must be right.
    unsigned int nextIndex()
    {
        typedefNubrixFrame *frame = nextFrame(m_depth);
        if (frame == nullptr) {
            return 0;
        }
        const unsigned int index = frame->frameIndex;
        EXPECT_EQ(difference(kindOf("depth", "usual"), {640, 480}, *frame), "");
        m_context->releaseFrame(frame);
        return index;
    }

    NubrixDevice *m_camera = nullptr;
    NubrixStream *m_depth = nullptr;
};

class DamageKept : public Faults {
protected:
    // The flags of a frame after `fault`. A reader gets the newest frame, so it may miss one.
    unsigned int flagsAfter(const std::string &fault)
    {
        unsigned int flags = 0;
        EXPECT_TRUE(eventually([&] {
            control(fault);
            flags = readRightFrame(m_depth, "depth");
            return flags != 0;
        }));
        EXPECT_TRUE(eventually([&] { return readRightFrame(m_depth, "depth") == 0; }));
        return flags;
    }
};

}  // namespace

TEST_F(Faults, AStalledCameraDoesNotAnswerUntilFramesComeAgain)
{
    control("stall");
    EXPECT_EQ(readUntil(m_depth, -10), -10);
    control("resume");
    EXPECT_EQ(readUntil(m_depth, 0), 0);
    readRightFrame(m_depth, "depth");
}

TEST_F(Faults, HalfAFrameIsDroppedByTheKernelAndLeavesAGap)
{
    control("stall");
    typedefNubrixFrame *frame = nullptr;
    unsigned int last = 0;
    while (m_context->readFrame(m_depth, &frame, 1000) == 0) {
        last = frame->frameIndex;
        m_context->releaseFrame(frame);
    }
    const unsigned int missed = counters(m_camera, NUBRIX_STREAM_DEPTH).missed;
    control("cut");
    control("resume");
    EXPECT_TRUE(
        eventually([&] { return counters(m_camera, NUBRIX_STREAM_DEPTH).missed > missed; }));
    EXPECT_GE(nextIndex(), last + 2);
}

TEST_F(DamageKept, HalfAFrameIsFlaggedShort)
{
    EXPECT_EQ(flagsAfter("cut") & kShort, kShort);
}

TEST_F(DamageKept, AMarkedFrameIsFlaggedDamaged)
{
    EXPECT_EQ(flagsAfter("damage"), kDamaged);
}

}  // namespace nubrix::vm
