// Cameras that arrive and leave while events are lost or the system cannot be read.
#include <cerrno>
#include <climits>
#include <new>
#include <utility>

#include "tests/drivers/uvc/LineWatch.h"
#include "tests/drivers/uvc/UvcDriverFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr const char *kRetry = "some video nodes cannot be read now, they are looked for again";

class HotPlugFaultsTest : public UvcDriverTest {
protected:
    std::size_t otherNodes()
    {
        std::vector<_NubrixGmslDeviceInfo> records(60);
        unsigned int count = 0;
        EXPECT_EQ(driver->getGmslDeviceList(records.data(), &count), 0);
        return count;
    }
};

TEST_F(HotPlugFaultsTest, ACameraWhoseEventIsLostIsFoundNevertheless)
{
    start();
    for (const int error : {ENOBUFS, EMFILE, ENODEV}) {
        system.loseEvents(1, error);
        const std::string place = "1-" + std::to_string(error);
        plug(place, static_cast<unsigned int>(error));
        ASSERT_TRUE(await(1)) << error;
        EXPECT_THAT(told(),
                    ElementsAre("+usb:" + place + " S" + std::to_string(error) + " " + place));
        forgetTold();
    }
}

TEST_F(HotPlugFaultsTest, ACameraThatLeavesUnnoticedIsReported)
{
    plug("1-1", 0);
    plug("1-2", 1);
    start();
    system.failScans(INT_MAX);  // until the node has left, which is after its event
    system.loseEvents(1, EMFILE);
    system.removeNode("1-1", 0);
    system.failScans(0);
    ASSERT_TRUE(await(1));
    EXPECT_THAT(told(), ElementsAre("-usb:1-1 S0 1-1"));
    EXPECT_THAT(uris(), ElementsAre("usb:1-2"));
}

TEST_F(HotPlugFaultsTest, ACameraThatLeavesAfterItsLostEventIsReported)
{
    plug("1-1", 0);
    start();
    system.failScans(INT_MAX, 1);
    system.loseEvents(1, EMFILE);
    system.sendEvent("1-1", 0, "remove");
    plug("1-2", 1);
    ASSERT_TRUE(await(1));  // the first look was before that, and has found both
    system.removeWithoutEvent("1-1", 0);
    system.failScans(0);
    ASSERT_TRUE(await(2));
    EXPECT_THAT(told(), ElementsAre("+usb:1-2 S1 1-2", "-usb:1-1 S0 1-1"));
}

TEST_F(HotPlugFaultsTest, ALookThatFailsTakesNoCameraAwayAndIsRepeated)
{
    plug("1-1", 0);
    start();
    const LineWatch lines;
    system.failScans(3);
    system.loseEvents(1, EMFILE);
    plug("1-2", 1);
    ASSERT_TRUE(await(1));
    EXPECT_THAT(told(), ElementsAre("+usb:1-2 S1 1-2"));
    EXPECT_THAT(uris(), ElementsAre("usb:1-1", "usb:1-2"));
    EXPECT_EQ(lines.count(kRetry), 1U);
}

TEST_F(HotPlugFaultsTest, WhatTheFirstLookMissesIsReportedLater)
{
    plug("1-1", 0);
    plug("1-2", 1);
    system.failScans(1);
    const LineWatch lines;
    start();
    ASSERT_TRUE(await(2));
    EXPECT_THAT(told(), UnorderedElementsAre("+usb:1-1 S0 1-1", "+usb:1-2 S1 1-2"));
    EXPECT_EQ(lines.count(kRetry), 1U);
}

TEST_F(HotPlugFaultsTest, AChangeThatCannotBeReportedIsReportedLaterAndKeepsNoOtherBack)
{
    plug("1-1", 0);
    plug("1-2", 1);
    system.failScans(1);  // so that both come with the next one
    bool first = true;
    onTold = [&] {
        if (std::exchange(first, false))
            throw std::bad_alloc();
    };
    start();
    ASSERT_TRUE(await(2));
    EXPECT_THAT(told(), UnorderedElementsAre("+usb:1-1 S0 1-1", "+usb:1-2 S1 1-2"));
}

TEST_F(HotPlugFaultsTest, ANodeWhoseUsbDeviceCannotBeReadYetIsNoOtherNode)
{
    start();
    const LineWatch lines;
    system.addNode("1-2", 0);
    ASSERT_TRUE(lines.await(kRetry));
    EXPECT_EQ(otherNodes(), 0U);
    EXPECT_THAT(list(), IsEmpty());
    system.addUsb("1-2", "A: serial=S0\n");
    ASSERT_TRUE(await(1));
    EXPECT_THAT(told(), ElementsAre("+usb:1-2 S0 1-2"));
    EXPECT_EQ(otherNodes(), 0U);
}

}  // namespace
}  // namespace nubrix
