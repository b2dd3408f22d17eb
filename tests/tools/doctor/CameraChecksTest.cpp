#include "doctor/Checks.h"

#include "tests/tools/doctor/FakeMachine.h"

namespace nubrix::tool {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using State = Finding::State;

class BusesTest : public testing::Test {
protected:
    Findings check(const std::vector<CameraLoad> &loads) const
    {
        return checkBuses(system.machine, loads);
    }

    FakeMachine system;
};

TEST_F(BusesTest, ACameraOnAFastPortIsGood)
{
    system.addPort("2-1", "5000", "3.20");
    EXPECT_THAT(check({{"usb:2-1", "2-1", 300}}),
                ElementsAre(finds(State::kGood, "on a bus of 5000 Mbit/s; its streams need 300")));
}

TEST_F(BusesTest, OtherCamerasHaveNoFinding)
{
    EXPECT_THAT(check({{"/dev/video7", "", 300}, {"usb:virtual-1", "virtual", 300}}), IsEmpty());
}

TEST_F(BusesTest, ACameraOnASlowPortNeedsAnotherOne)
{
    system.addPort("1-1", "480", "2.10");
    EXPECT_THAT(check({{"usb:1-1", "1-1", 100}}),
                ElementsAre(finds(State::kNote, "although the camera supports USB 3", "port")));
    system.addPort("1-2", "12", "2.00");
    EXPECT_THAT(check({{"usb:1-2", "1-2", 100}}),
                ElementsAre(finds(State::kProblem, "too slow", "cable")));
}

TEST_F(BusesTest, StreamsThatNeedTooMuchOfABusAreReported)
{
    system.addPort("1-1", "480", "2.00");
    EXPECT_THAT(check({{"usb:1-1", "1-1", 384}}), ElementsAre(finds(State::kGood, "need 384")));
    EXPECT_THAT(check({{"usb:1-1", "1-1", 385}}),
                ElementsAre(finds(State::kNote, "384 Mbit/s are for video; its streams need 385",
                                  "smaller modes")));
    system.addPort("2-1", "5000", "3.00");
    EXPECT_THAT(check({{"usb:2-1", "2-1", 3201}}),
                ElementsAre(finds(State::kNote, "3200 Mbit/s are for video")));
}

TEST_F(BusesTest, CamerasOnOneBusShareItsBandwidth)
{
    for (const char *place : {"1-1", "1-4.2", "3-1"})
        system.addPort(place, "480", "2.00");
    const CameraLoad first = {"usb:1-1", "1-1", 200};
    const auto good = finds(State::kGood, "need 200");
    EXPECT_THAT(check({first, {"usb:3-1", "3-1", 200}}), ElementsAre(good, good));
    EXPECT_THAT(check({first, {"usb:1-4.2", "1-4.2", 200}}),
                ElementsAre(good, good, finds(State::kNote, "2 cameras need 400", "another bus")));
}

class NetworkLoadsTest : public testing::Test {
protected:
    NetworkLoadsTest()
    {
        system.addInterface("eth1");
        system.addInterface("eth2", "10000");
        system.addInterface("eth3", "-1");  // unknown speed
        system.machine.addresses = {
            {"eth1", "10.1.0.1", 16}, {"eth2", "10.2.0.1", 16}, {"eth3", "10.3.0.1", 16}};
    }

    Findings check(const std::vector<CameraLoad> &loads) const
    {
        return checkNetworkLoads(system.machine, loads);
    }

    FakeMachine system;
};

TEST_F(NetworkLoadsTest, StreamsThatAnInterfaceCanCarryHaveNoFinding)
{
    EXPECT_THAT(check({{"net:10.1.7.7", "", 900},
                       {"net:10.2.0.5", "", 5000},
                       {"net:10.2.0.6", "", 4000},
                       {"net:10.3.0.5", "", 5000},
                       {"net:10.9.0.5", "", 5000},
                       {"usb:1-2", "1-2", 5000}}),
                IsEmpty());
}

TEST_F(NetworkLoadsTest, ANetworkCameraSendsOneStreamAtATime)
{
    EXPECT_EQ(loadOf("net:10.1.0.5", {590, 885}), 885);
    EXPECT_EQ(loadOf("net:10.1.0.5", {885, 590}), 885);
    EXPECT_EQ(loadOf("usb:1-2", {590, 885}), 1475);
    EXPECT_EQ(loadOf("usb:1-2", {}), 0);
}

TEST_F(NetworkLoadsTest, CamerasOnOneInterfaceShareItsBandwidth)
{
    const Findings found = check({{"net:10.1.0.5", "", 500}, {"net:10.1.0.6", "", 401}});
    EXPECT_THAT(found,
                ElementsAre(finds(State::kNote, "(2) need 901 Mbit/s, but it carries only 900",
                                  "smaller modes")));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].name, "eth1");
}

}  // namespace
}  // namespace nubrix::tool
