#include "virtual/FaultPlan.h"

#include <gtest/gtest.h>

#include "nubrix/types.h"

namespace nubrix::virtual_camera {
namespace {

constexpr unsigned int kColor = NUBRIX_STREAM_COLOR;
constexpr unsigned int kDepth = NUBRIX_STREAM_DEPTH;

Fault atFrame(FaultType type, std::uint32_t frame, std::uint32_t count = 1)
{
    Fault fault;
    fault.type = type;
    fault.atFrame = frame;
    fault.count = count;
    return fault;
}

Fault atMs(FaultType type, std::uint32_t ms, std::uint32_t count = 1)
{
    Fault fault;
    fault.type = type;
    fault.atMs = ms;
    fault.count = count;
    return fault;
}

TEST(FaultPlanTest, WithoutFaultsNothingGoesWrong)
{
    FaultPlan plan({});
    EXPECT_EQ(plan.openAttempt(0), 0);
    EXPECT_EQ(plan.startAttempt(kDepth, 0), 0);
    EXPECT_EQ(plan.extraBufferBytes(kDepth), 0U);
    EXPECT_TRUE(plan.answersKeepAlive(1000));
    EXPECT_FALSE(plan.nextPlugAfterMs());
    const FrameEffects effects = plan.effectsOn(kDepth, 5, 1000);
    EXPECT_FALSE(effects.unplug || effects.stall || effects.drop || effects.empty ||
                 effects.shortened || effects.wrongType);
    EXPECT_EQ(effects.clockOffsetUs, 0);
}

TEST(FaultPlanTest, AFaultByFrameCoversItsFramesInEveryRun)
{
    FaultPlan plan({atFrame(FaultType::kDrop, 3, 2)});
    for (int run = 0; run < 2; ++run) {
        plan.beginRun(kDepth);
        for (std::uint32_t frame = 0; frame < 10; ++frame)
            EXPECT_EQ(plan.effectsOn(kDepth, frame, 0).drop, frame == 3 || frame == 4) << frame;
    }
}

TEST(FaultPlanTest, AFaultByFrameMissesNothingWhenFramesAreSkipped)
{
    FaultPlan plan({atFrame(FaultType::kDrop, 3, 2)});
    EXPECT_TRUE(plan.effectsOn(kDepth, 4, 0).drop);
    EXPECT_FALSE(plan.effectsOn(kDepth, 8, 0).drop);
}

TEST(FaultPlanTest, AFaultByTimeCoversTheNextFramesOfEachStreamOnce)
{
    FaultPlan plan({atMs(FaultType::kEmptyFrame, 100, 2)});
    EXPECT_FALSE(plan.effectsOn(kDepth, 0, 99).empty);
    EXPECT_TRUE(plan.effectsOn(kDepth, 1, 100).empty);
    EXPECT_TRUE(plan.effectsOn(kDepth, 2, 150).empty);
    EXPECT_FALSE(plan.effectsOn(kDepth, 3, 160).empty);
    EXPECT_TRUE(plan.effectsOn(kColor, 3, 160).empty);
    plan.beginRun(kDepth);
    EXPECT_FALSE(plan.effectsOn(kDepth, 0, 200).empty);
}

TEST(FaultPlanTest, AFaultOfOneStreamLeavesTheOthersAlone)
{
    Fault fault = atFrame(FaultType::kDrop, 0, 100);
    fault.streamType = kDepth;
    FaultPlan plan({fault});
    EXPECT_TRUE(plan.effectsOn(kDepth, 5, 0).drop);
    EXPECT_FALSE(plan.effectsOn(kColor, 5, 0).drop);
}

TEST(FaultPlanTest, AStallByFrameComesOnceARunAndHidesNoOtherFault)
{
    Fault stall = atFrame(FaultType::kStall, 2);
    stall.duration = 30;
    FaultPlan plan({atFrame(FaultType::kDrop, 2), stall});
    for (int run = 0; run < 2; ++run) {
        plan.beginRun(kDepth);
        EXPECT_FALSE(plan.effectsOn(kDepth, 1, 0).stall);
        const FrameEffects first = plan.effectsOn(kDepth, 2, 0);
        EXPECT_TRUE(first.stall);
        EXPECT_EQ(first.stallMs, 30U);
        EXPECT_FALSE(first.drop);
        const FrameEffects second = plan.effectsOn(kDepth, 2, 30);
        EXPECT_FALSE(second.stall);
        EXPECT_TRUE(second.drop);
    }
}

TEST(FaultPlanTest, AStallByTimeEndsAtItsTime)
{
    Fault stall = atMs(FaultType::kStall, 100);
    stall.duration = 50;
    FaultPlan plan({stall});
    EXPECT_FALSE(plan.effectsOn(kDepth, 0, 99).stall);
    EXPECT_EQ(plan.effectsOn(kDepth, 1, 100).stallMs, 50U);
    EXPECT_EQ(plan.effectsOn(kDepth, 1, 149).stallMs, 1U);
    EXPECT_FALSE(plan.effectsOn(kDepth, 1, 150).stall);
    EXPECT_EQ(plan.effectsOn(kColor, 0, 120).stallMs, 30U);
}

TEST(FaultPlanTest, AStallWithoutADurationIsForEver)
{
    FaultPlan plan({atMs(FaultType::kStall, 100)});
    const FrameEffects effects = plan.effectsOn(kDepth, 0, 1000000);
    EXPECT_TRUE(effects.stall);
    EXPECT_FALSE(effects.stallMs);
}

TEST(FaultPlanTest, FramesAreCountedOnceWhenATimedStallAsksTwice)
{
    Fault stall = atFrame(FaultType::kStall, 0);
    stall.duration = 10;
    FaultPlan plan({atMs(FaultType::kDrop, 0, 1), stall});
    plan.beginRun(kDepth);
    EXPECT_TRUE(plan.effectsOn(kDepth, 0, 5).stall);
    EXPECT_TRUE(plan.effectsOn(kDepth, 0, 15).drop);
    EXPECT_FALSE(plan.effectsOn(kDepth, 1, 16).drop);
}

TEST(FaultPlanTest, ClockJumpsAddUp)
{
    Fault forth = atFrame(FaultType::kClockJump, 2);
    forth.jumpMs = 500;
    Fault back = atMs(FaultType::kClockJump, 100);
    back.jumpMs = -2000;
    FaultPlan plan({forth, back});
    EXPECT_EQ(plan.effectsOn(kDepth, 1, 0).clockOffsetUs, 0);
    EXPECT_EQ(plan.effectsOn(kDepth, 2, 99).clockOffsetUs, 500000);
    EXPECT_EQ(plan.effectsOn(kDepth, 3, 100).clockOffsetUs, -1500000);
    EXPECT_EQ(plan.effectsOn(kColor, 0, 100).clockOffsetUs, -2000000);
}

TEST(FaultPlanTest, DamagedFramesCarryTheDetailsOfTheirFault)
{
    Fault cut = atFrame(FaultType::kShortFrame, 1);
    cut.bytes = 7;
    Fault half = atFrame(FaultType::kShortFrame, 2);
    Fault type = atFrame(FaultType::kWrongType, 3);
    type.asType = NUBRIX_STREAM_IR;
    FaultPlan plan({cut, half, type});
    EXPECT_TRUE(plan.effectsOn(kDepth, 1, 0).shortened);
    EXPECT_EQ(plan.effectsOn(kDepth, 1, 0).bytes, 7U);
    EXPECT_TRUE(plan.effectsOn(kDepth, 2, 0).shortened);
    EXPECT_FALSE(plan.effectsOn(kDepth, 2, 0).bytes);
    EXPECT_TRUE(plan.effectsOn(kDepth, 3, 0).wrongType);
    EXPECT_EQ(plan.effectsOn(kDepth, 3, 0).asType, NUBRIX_STREAM_IR);
}

TEST(FaultPlanTest, UnpluggingByFrameHappensOnceAndByItself)
{
    FaultPlan plan({atFrame(FaultType::kDrop, 4), atFrame(FaultType::kUnplug, 4)});
    EXPECT_FALSE(plan.effectsOn(kDepth, 3, 0).unplug);
    const FrameEffects effects = plan.effectsOn(kDepth, 4, 0);
    EXPECT_TRUE(effects.unplug);
    EXPECT_FALSE(effects.drop);
    EXPECT_FALSE(plan.effectsOn(kDepth, 4, 0).unplug);
}

TEST(FaultPlanTest, UnpluggingByTimeHasNoEffectOnFrames)
{
    FaultPlan plan({atMs(FaultType::kUnplug, 10)});
    EXPECT_FALSE(plan.effectsOn(kDepth, 3, 1000).unplug);
}

TEST(FaultPlanTest, EachPlugAfterAnUnplugIsUsedOnce)
{
    Fault first;
    first.type = FaultType::kPlug;
    first.afterMs = 20;
    Fault second = first;
    second.afterMs = 40;
    FaultPlan plan({first, atMs(FaultType::kPlug, 5), second});
    EXPECT_EQ(plan.nextPlugAfterMs(), 20U);
    EXPECT_EQ(plan.nextPlugAfterMs(), 40U);
    EXPECT_FALSE(plan.nextPlugAfterMs());
}

TEST(FaultPlanTest, KeepAliveFailsFromItsTimeForItsDuration)
{
    Fault fault = atMs(FaultType::kKeepAliveFail, 100);
    fault.duration = 50;
    const FaultPlan plan({fault});
    EXPECT_TRUE(plan.answersKeepAlive(99));
    EXPECT_FALSE(plan.answersKeepAlive(100));
    EXPECT_FALSE(plan.answersKeepAlive(149));
    EXPECT_TRUE(plan.answersKeepAlive(150));
}

TEST(FaultPlanTest, KeepAliveFailsFromAFrameOn)
{
    FaultPlan plan({atFrame(FaultType::kKeepAliveFail, 7)});
    plan.effectsOn(kDepth, 6, 100);
    EXPECT_TRUE(plan.answersKeepAlive(100));
    plan.effectsOn(kDepth, 7, 200);
    EXPECT_FALSE(plan.answersKeepAlive(200));
    EXPECT_FALSE(plan.answersKeepAlive(1000000));
}

TEST(FaultPlanTest, KeepAliveByFrameLastsFromTheFirstTime)
{
    Fault fault = atFrame(FaultType::kKeepAliveFail, 7);
    fault.duration = 50;
    FaultPlan plan({fault});
    plan.effectsOn(kDepth, 7, 200);
    plan.effectsOn(kDepth, 8, 230);
    EXPECT_FALSE(plan.answersKeepAlive(249));
    EXPECT_TRUE(plan.answersKeepAlive(250));
}

TEST(FaultPlanTest, AttemptsFailFromTheNamedOneForTheGivenCount)
{
    Fault open;
    open.type = FaultType::kOpenFail;
    open.attempt = 2;
    open.count = 2;
    open.status = -7;
    FaultPlan plan({open});
    EXPECT_EQ(plan.openAttempt(0), 0);
    EXPECT_EQ(plan.openAttempt(0), -7);
    EXPECT_EQ(plan.openAttempt(0), -7);
    EXPECT_EQ(plan.openAttempt(0), 0);
}

TEST(FaultPlanTest, AttemptsBeforeTheTimeOfAFaultDoNotCount)
{
    Fault open;
    open.type = FaultType::kOpenFail;
    open.atMs = 100;
    FaultPlan plan({open});
    EXPECT_EQ(plan.openAttempt(99), 0);
    EXPECT_EQ(plan.openAttempt(100), -1);
    EXPECT_EQ(plan.openAttempt(101), 0);
}

TEST(FaultPlanTest, StartsAreCountedForEachStream)
{
    Fault start;
    start.type = FaultType::kStartFail;
    start.status = 7;
    FaultPlan plan({start});
    EXPECT_EQ(plan.startAttempt(kDepth, 0), 7);
    EXPECT_EQ(plan.startAttempt(kDepth, 0), 0);
    EXPECT_EQ(plan.startAttempt(kColor, 0), 7);
    EXPECT_EQ(plan.openAttempt(0), 0);
}

TEST(FaultPlanTest, BuffersGrowFromTheStartNamed)
{
    Fault fault;
    fault.type = FaultType::kBufferSizeChange;
    fault.streamType = kDepth;
    fault.attempt = 2;
    fault.count = 1;
    fault.bytes = 100;
    FaultPlan plan({fault});
    EXPECT_EQ(plan.extraBufferBytes(kDepth), 0U);
    plan.startAttempt(kDepth, 0);
    EXPECT_EQ(plan.extraBufferBytes(kDepth), 100U);
    EXPECT_EQ(plan.extraBufferBytes(kColor), 0U);
    plan.startAttempt(kDepth, 0);
    EXPECT_EQ(plan.extraBufferBytes(kDepth), 0U);
}

}  // namespace
}  // namespace nubrix::virtual_camera
