// Who initializes or destroys the context next.
#include "context/LifeTurns.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "tests/fakes/HangGuard.h"

namespace nubrix {
namespace {

using Waiting = LifeTurns::Waiting;

/// Calls that wait for their turn, each on a thread.
class LifeTurnsTest : public testing::Test {
protected:
    ~LifeTurnsTest() override
    {
        for (std::thread &call : m_calls)
            call.join();
    }
    /// Returns when it waits.
    void call(const std::function<void(LifeTurns::Turn &)> &inTurn)
    {
        std::atomic<int> id{0};
        m_calls.emplace_back([this, &id, inTurn] {
            id = ::gettid();
            LifeTurns::Turn turn(*m_turns, Waiting::kForItsTurn);
            EXPECT_TRUE(turn);
            inTurn(turn);
        });
        EXPECT_TRUE(eventually([&] { return id != 0 && hasFallenAsleep(id); }));
    }

    std::unique_ptr<LifeTurns> m_turns = std::make_unique<LifeTurns>();
    std::vector<std::thread> m_calls;
};

TEST_F(LifeTurnsTest, OneAtATimeInTheOrderOfTheCalls)
{
    std::vector<int> order;
    Counter done;
    {
        const LifeTurns::Turn first(*m_turns, Waiting::kForItsTurn);
        for (int i = 0; i < 4; ++i)
            call([&, i](LifeTurns::Turn &) {
                order.push_back(i);
                done.add();
            });
        EXPECT_TRUE(order.empty());
    }
    ASSERT_TRUE(done.reaches(4));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
}

TEST_F(LifeTurnsTest, WhoMustNotWaitHasNoTurnWhileAnotherHas)
{
    {
        const LifeTurns::Turn first(*m_turns, Waiting::kForItsTurn);
        std::thread([&] { EXPECT_FALSE(LifeTurns::Turn(*m_turns, Waiting::kNot)); }).join();
    }
    EXPECT_TRUE(LifeTurns::Turn(*m_turns, Waiting::kNot));
}

TEST_F(LifeTurnsTest, TheTurnsMayDieAfterAnEndThatWaitsForOthers)
{
    std::atomic<int> left{0};
    {
        LifeTurns::Turn first(*m_turns, Waiting::kForItsTurn);
        for (int i = 0; i < 3; ++i) {
            call([&](LifeTurns::Turn &turn) {
                ++left;
                turn.endAfterOthers();
            });
        }
        first.endAfterOthers();
        EXPECT_EQ(left, 3);
    }
    m_turns.reset();
}

}  // namespace
}  // namespace nubrix
