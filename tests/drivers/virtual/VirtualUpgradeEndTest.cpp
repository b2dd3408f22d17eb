// How upgrades of a virtual camera end, also from within their own callbacks.
#include <future>
#include <thread>
#include <utility>

#include "tests/drivers/virtual/VirtualUpgradeFixture.h"

namespace nubrix {
namespace {

using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

using VirtualUpgradeEndTest = VirtualUpgradeTest;

TEST_F(VirtualUpgradeEndTest, IsBrokenOffWhenItsUpgraderGoes)
{
    begin();
    m_passEventsOn = false;  // so that it waits for the event of the reboot
    std::atomic<bool> left{false};
    m_atProgress = [&](int percent) { left = percent == 85; };
    CaptureStderr();
    ASSERT_EQ(start(imageOf(firmware())), 0);
    while (!left)
        std::this_thread::yield();
    m_upgrader.reset();
    EXPECT_EQ(awaitFinished(), -1);
    EXPECT_THAT(GetCapturedStderr(),
                HasSubstr("it was broken off; the camera keeps firmware 1.0.0"));
    EXPECT_EQ(version(), "1.0.0");
    EXPECT_EQ(list().size(), 1U);  // it is plugged in again
}

TEST_F(VirtualUpgradeEndTest, IsBrokenOffWhenItsDriverGoes)
{
    begin();
    m_passEventsOn = false;
    CaptureStderr();
    ASSERT_EQ(start(imageOf(firmware())), 0);
    m_driver.reset();
    EXPECT_EQ(awaitFinished(), -1);
    GetCapturedStderr();
    EXPECT_EQ(start(imageOf(firmware())), -9);
}

TEST_F(VirtualUpgradeEndTest, MayEndItselfWhenItHasFinished)
{
    begin();
    m_atFinish = [this] { dropUpgrader(); };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    EXPECT_EQ(awaitFinished(), 0);
    EXPECT_EQ(m_upgrader, nullptr);
}

TEST_F(VirtualUpgradeEndTest, MayEndItselfWhileItRuns)
{
    begin();
    m_atProgress = [this](int percent) {
        if (percent == 31)
            dropUpgrader();
    };
    CaptureStderr();
    ASSERT_EQ(start(imageOf(firmware())), 0);
    EXPECT_EQ(awaitFinished(), -1);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("it was broken off"));
    EXPECT_EQ(version(), "1.0.0");
}

TEST_F(VirtualUpgradeEndTest, MayBeStartedAgainWhenItHasFinished)
{
    begin();
    int again = 12345;
    bool first = true;
    m_atFinish = [&] {
        if (std::exchange(first, false))
            again = start(imageOf(firmware(), 3));
    };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    EXPECT_EQ(awaitFinished(), 0);
    EXPECT_TRUE(eventually([&] { return version() == "3.5.7"; }));
    m_upgrader.reset();  // waits for both
    EXPECT_EQ(again, 0);
}

TEST_F(VirtualUpgradeEndTest, GoesWhenTheCallbackThatStartedTheNextOneHasReturned)
{
    begin();
    bool first = true;
    std::promise<void> mayReturn;
    m_atFinish = [&] {
        if (!std::exchange(first, false))
            return;
        EXPECT_EQ(start(imageOf(firmware(), 3)), 0);
        mayReturn.get_future().wait();
        m_returned = true;
    };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    EXPECT_EQ(awaitFinished(), 0);  // of the second
    expectThatItWaits([&] { m_upgrader.reset(); }, [&] { mayReturn.set_value(); });
    EXPECT_TRUE(m_returned);
}

TEST_F(VirtualUpgradeEndTest, ItsDriverWaitsForTheCallbackThatEndedIt)
{
    begin();
    std::promise<void> hasEnded;
    std::promise<void> mayReturn;
    m_atFinish = [&] {
        dropUpgrader();
        hasEnded.set_value();
        mayReturn.get_future().wait();
        m_returned = true;
    };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    ASSERT_EQ(hasEnded.get_future().wait_for(kDeadline), std::future_status::ready);
    expectThatItWaits([&] { m_driver.reset(); }, [&] { mayReturn.set_value(); });
    EXPECT_TRUE(m_returned);
}

TEST_F(VirtualUpgradeEndTest, ItsDriverWaitsForACallbackThatUsesIt)
{
    begin();
    std::promise<void> isFinishing;
    std::promise<void> mayGoOn;
    m_atFinish = [&] {
        isFinishing.set_value();
        mayGoOn.get_future().wait();
        EXPECT_FALSE(m_upgrader->isUpgradeState());
        m_returned = true;
    };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    ASSERT_EQ(isFinishing.get_future().wait_for(kDeadline), std::future_status::ready);
    expectThatItWaits([&] { m_driver.reset(); }, [&] { mayGoOn.set_value(); });
    EXPECT_TRUE(m_returned);
    EXPECT_EQ(awaitFinished(), 0);
}

TEST_F(VirtualUpgradeEndTest, WaitsForItsCallbackWhenItGoesFromElsewhere)
{
    begin();
    std::promise<void> isFinishing;
    std::promise<void> mayGoOn;
    m_atFinish = [&] {
        isFinishing.set_value();
        mayGoOn.get_future().wait();
        EXPECT_EQ(list().size(), 1U);
        m_returned = true;
    };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    ASSERT_EQ(isFinishing.get_future().wait_for(kDeadline), std::future_status::ready);
    expectThatItWaits([&] { dropUpgrader(); }, [&] { mayGoOn.set_value(); });
    EXPECT_TRUE(m_returned);
    EXPECT_EQ(awaitFinished(), 0);
}

}  // namespace
}  // namespace nubrix
