// The gate of the context.
#include "context/Gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/fakes/Waiting.h"

namespace nubrix {
namespace {

bool otherThreadMayEnter(Gate &gate)
{
    bool entered = false;
    std::thread([&] { entered = static_cast<bool>(Gate::Entry(gate)); }).join();
    return entered;
}

TEST(GateTest, LetsInUntilItIsShutAndAgainWhenItIsOpened)
{
    Gate gate;
    EXPECT_TRUE(otherThreadMayEnter(gate));
    gate.shut();
    EXPECT_TRUE(gate.isShut());
    EXPECT_FALSE(otherThreadMayEnter(gate));
    EXPECT_TRUE(Gate::Entry(gate)) << "who shut it is inside";
    gate.open();
    EXPECT_FALSE(gate.isInside());
    EXPECT_TRUE(otherThreadMayEnter(gate));
}

TEST(GateTest, WhoIsInsideMayEnterAgainAndIsWaitedFor)
{
    Gate gate;
    Latch inside;
    Latch shut;
    std::atomic<bool> left{false};
    std::thread visitor([&] {
        const Gate::Entry entry(gate);
        ASSERT_TRUE(entry);
        inside.open();
        EXPECT_TRUE(shut.pass());
        EXPECT_TRUE(Gate::Entry(gate));
        EXPECT_TRUE(gate.isInside());
        left = true;
    });
    ASSERT_TRUE(inside.pass());
    gate.shut();
    shut.open();
    gate.waitForOthers();
    EXPECT_TRUE(left);
    gate.open();
    visitor.join();
}

}  // namespace
}  // namespace nubrix
