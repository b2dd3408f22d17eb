// What of the context cannot be reached from outside: upgraders, GMSL cameras, the mini driver.
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "device/DriverLoader.h"
#include "device/UsbIdentifiers.h"
#include "tests/context/ContextInside.h"
#include "tests/fakes/FakeUpgrade.h"
#include "tests/fakes/HangGuard.h"
#include "tests/fakes/SystemCalls.h"

namespace nubrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class Inside : public InsideOf<Context> {
protected:
    /// Gives a device an upgrader, as if one had been started.
    std::shared_ptr<NubrixBaseUpgrade> addUpgrader(NubrixDevice *device, const char *location,
                                                   bool upgrading = false)
    {
        return add(device, new FakeUpgrade(m_usb, location, upgrading));
    }
    std::shared_ptr<NubrixBaseUpgrade> add(NubrixDevice *device, NubrixBaseUpgrade *upgrader)
    {
        return upgradesInside().add(device, std::shared_ptr<NubrixBaseUpgrade>(upgrader));
    }
    Upgrades &upgradesInside() { return reach(m_context, upgrades()); }
    void unplug(const char *location) { m_usb.raise("usb:1", "SN1", location, 1); }
    /// Devices in the order in which the context walks its upgraders.
    static NubrixDevice *handle(std::size_t number)
    {
        static char memory[8];
        return reinterpret_cast<NubrixDevice *>(&memory[number]);
    }
};

const char *const kPassedOn =
    "onDeviceState Change deviceAddr = usb:1 , SN = SN1, location = 1-1, deviceState = 1";

TEST_F(Inside, AnUpgraderSeesTheEventsOfItsLocationFirst)
{
    addUpgrader(handle(0), "1-1");
    addUpgrader(handle(1), "2-2");
    unplug("1-1");
    EXPECT_THAT(m_usb.takeCalls(), ElementsAre("upgrader 1-1 event usb:1 1", "getDeviceList 60"));
    const std::vector<LogLine> lines = m_log.take();
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines[0], infoLine(""));
    EXPECT_EQ(lines[1],
              milestoneLine("onDeviceState Change deviceAddr = usb:1 , SN = SN1, location = 1-1, "
                            "deviceLocation : 1-1, deviceState = 1"));
    EXPECT_EQ(lines[2], milestoneLine(kPassedOn));
}

TEST_F(Inside, AnUpgradeThatRunsKeepsTheEvent)
{
    addUpgrader(handle(0), "1-1", true);
    addUpgrader(handle(1), "1-1");
    unplug("1-1");
    EXPECT_THAT(m_usb.takeCalls(), ElementsAre("upgrader 1-1 event usb:1 1"));
    EXPECT_THAT(
        m_log.take(),
        ElementsAre(infoLine(""),
                    milestoneLine("onDeviceState Change deviceAddr = usb:1 , SN = SN1, "
                                  "location = 1-1, deviceLocation : 1-1, deviceState = 1")));
}

TEST_F(Inside, AnUpgradeElsewhereDoesNot)
{
    addUpgrader(handle(0), "2-2", true);
    unplug("1-1");
    EXPECT_THAT(m_usb.takeCalls(), ElementsAre("getDeviceList 60"));
    EXPECT_THAT(m_log.take(), Contains(milestoneLine(kPassedOn)));
}

TEST_F(Inside, ATunnelledLocationConcernsEveryUpgrader)
{
    addUpgrader(handle(0), "1-1");
    addUpgrader(handle(1), "2-2");
    unplug("hub NVTEVM 3");
    EXPECT_THAT(m_usb.takeCalls(), ElementsAre("upgrader 1-1 event usb:1 1",
                                               "upgrader 2-2 event usb:1 1", "getDeviceList 60"));
}

TEST_F(Inside, ATunnelledUpgraderIsConcernedByEveryEvent)
{
    addUpgrader(handle(0), "NVTEVM");
    unplug("7-7");
    EXPECT_THAT(m_usb.takeCalls(),
                ElementsAre("upgrader NVTEVM event usb:1 1", "getDeviceList 60"));
}

TEST_F(Inside, ADeviceWithoutAnUpgraderIsPassedOver)
{
    add(handle(0), nullptr);
    addUpgrader(handle(1), "1-1");
    unplug("1-1");
    EXPECT_THAT(m_usb.takeCalls(), Contains("upgrader 1-1 event usb:1 1"));
}

TEST_F(Inside, NoLocationEqualsAnEmptyOne)
{
    addUpgrader(handle(0), "");
    addUpgrader(handle(1), "1-1");
    m_usb.raise(nullptr, nullptr, nullptr, 1);
    EXPECT_THAT(m_usb.takeCalls(), ElementsAre("upgrader  event (null) 1", "getDeviceList 60"));
}

TEST_F(Inside, ClosingADeviceEndsItsUpgrader)
{
    NubrixDevice *const device = open("usb:1");
    upgradesInside().setActive(addUpgrader(device, "1-1"));
    addUpgrader(handle(0), "2-2");
    forget();
    ASSERT_EQ(m_context.closeDevice(device), 0);
    EXPECT_THAT(m_usb.takeCalls(), ElementsAre("closeDevice usb:1", "upgrader 1-1 deleted"));
    EXPECT_EQ(upgradesInside().active(), nullptr);
    EXPECT_EQ(upgradesInside().all().size(), 1U);
}

TEST_F(Inside, ClosingADeviceLeavesTheUpgradeOfAnother)
{
    NubrixDevice *const device = open("usb:1");
    addUpgrader(device, "1-1");
    const auto active = addUpgrader(handle(0), "2-2");
    upgradesInside().setActive(active);
    ASSERT_EQ(m_context.closeDevice(device), 0);
    EXPECT_EQ(upgradesInside().active(), active);
}

TEST_F(Inside, DestroyEndsTheUpgradersAfterTheDrivers)
{
    upgradesInside().setActive(addUpgrader(handle(0), "1-1"));
    delUvcDriver = [](NubrixBaseDriver *driver) {
        static_cast<FakeDriver *>(driver)->record("driverDestroy");
    };
    ASSERT_EQ(m_context.destroy(), 0);
    EXPECT_THAT(m_usb.takeCalls(), ElementsAre("driverDestroy", "upgrader 1-1 deleted"));
    EXPECT_EQ(upgradesInside().active(), nullptr);
    EXPECT_EQ(delUvcDriver, nullptr);
    reach(m_context, initialized()) = true;
    ASSERT_EQ(m_context.destroy(), 0);
    EXPECT_THAT(m_usb.takeCalls(), IsEmpty()) << "nothing is ended twice";
}

TEST_F(Inside, EveryIdentifierOpensOnItsDriver)
{
    for (const UsbIdentifier &row : kUsbIdentifiers) {
        NubrixDevice *device = nullptr;
        ASSERT_EQ(m_context.openDevice2(row.vendor, row.product, 1, "p", &device), 0);
        ASSERT_EQ(m_context.closeDevice(device), 0);
    }
    EXPECT_EQ(m_usb.countCalls("closeDevice fd-device"), 35U);
    EXPECT_EQ(m_net.countCalls("closeDevice fd-device"), 5U);
    EXPECT_EQ(m_mini.countCalls("closeDevice fd-device"), 1U);
}

TEST_F(Inside, TransportFourBelongsToTheMiniDriver)
{
    m_mini.setDevices({cameraRecord("mini:1", 4)});
    unplug("1-1");
    m_context.closeDevice(open("mini:1"));
    EXPECT_THAT(m_mini.takeCalls(), Contains("closeDevice mini:1"));
}

TEST_F(Inside, AClearedTableHasNoCamera)
{
    DeviceRecords records;
    ASSERT_EQ(records.append(m_usb), 0);
    ASSERT_TRUE(records.find("usb:1"));
    records.clear();
    EXPECT_EQ(records.count(), 0U);
    EXPECT_FALSE(records.find("usb:1"));
    EXPECT_FALSE(records.find(nullptr));
}

TEST_F(Inside, ADriverThatFailsWithoutACountAddsSixtyRecords)
{
    m_usb.leavesCount = true;
    m_net.leavesCount = true;
    m_mini.setDevices({cameraRecord("mini:1", 4)});
    unplug("1-1");
    typedefNubrixeviceAttribute *list = nullptr;
    unsigned int count = 0;
    ASSERT_EQ(m_context.nubrixGetDeviceList(&list, &count), 0);
    EXPECT_EQ(count, 121U);
    EXPECT_STREQ(list[120].uri, "mini:1");
    EXPECT_EQ(m_context.getDeviceAttributeByUri("mini:1"), &list[120]);
    m_mini.leavesCount = true;
    unplug("1-1");
    ASSERT_EQ(m_context.nubrixGetDeviceList(&list, &count), 0);
    EXPECT_EQ(count, 180U);
    EXPECT_STREQ(list[120].uri, "mini:1") << "what was written before stays";
}

class InsideGmsl : public Inside {
protected:
    InsideGmsl()
    {
        m_usb.setGmslPaths({"", "/dev/video7"});
        _NubrixGmslDeviceInfo *list = nullptr;
        unsigned int count = 0;
        EXPECT_EQ(m_context.nubrixGetGmslDeviceList(&list, &count), 0);
        EXPECT_EQ(count, 2U);
        forget();
    }
};

TEST_F(InsideGmsl, AVideoNodeIsOpenedByTheUsbDriver)
{
    open("/dev/video7");
    EXPECT_THAT(m_usb.takeCalls(), Contains("openDevice /dev/video7"));
    NubrixDevice *again = handle(0);
    m_log.take();
    EXPECT_EQ(m_context.openDevice("/dev/video7", &again), 0);
    EXPECT_EQ(again, handle(0));
    EXPECT_THAT(m_log.take(), Contains(milestoneLine("Device[/dev/video7] is already opened!")));
}

TEST_F(InsideGmsl, AnyOtherVideoNodeIsUnknown)
{
    NubrixDevice *device = nullptr;
    EXPECT_EQ(m_context.openDevice("/dev/video", &device), -4);
    EXPECT_EQ(m_context.openDevice("/dev/video71", &device), -4);
    EXPECT_THAT(m_usb.takeCalls(), IsEmpty());
}

TEST_F(InsideGmsl, WithoutTheUsbDriverNobodyServesIt)
{
    reach(m_context, drivers()).set(DRIVER_TYPE_UVC, nullptr);
    NubrixDevice *device = nullptr;
    EXPECT_EQ(m_context.openDevice("/dev/video7", &device), -12);
    EXPECT_THAT(m_log.take(),
                Contains(errorLine("cannot open Device[/dev/video7],  not find support driver")));
}

TEST_F(Inside, OnlyThreeKindsOfDriversAreLoaded)
{
    for (const int type : {-1, 0, 4, 255})
        EXPECT_EQ(loadDriver(static_cast<DRIVER_TYPE>(type)), nullptr);
    EXPECT_THAT(m_log.take(), IsEmpty());
}

TEST_F(Inside, TheLibrarysFolderFitsTheBuffer)
{
    const std::string folder =
        std::filesystem::read_symlink("/proc/self/exe").parent_path().string() + "/";
    char buffer[256] = {};
    EXPECT_EQ(m_context.GetConfigFileBasePath(buffer, sizeof(buffer)), 0);
    EXPECT_TRUE(std::filesystem::equivalent(buffer, folder));
    EXPECT_EQ(std::string(buffer).back(), '/');
    const std::string whole = buffer;
    char small[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
    EXPECT_EQ(m_context.GetConfigFileBasePath(small, 4), 0);
    EXPECT_EQ(std::string(small, 6), whole.substr(0, 3) + std::string("\0xx", 3));
    EXPECT_EQ(m_context.initConfigFilePath(), 0);
    EXPECT_EQ(NUBRIX_WORKING_PATH, whole);
    EXPECT_EQ(NUBRIX_INI_FILE_PATH, whole + "nubrixLog.ini");
}

TEST_F(Inside, NoDriverIsLoadedWhenTheLibrarysFolderIsUnknown)
{
    SystemCalls calls;
    calls.dladdr = [](const void *, Dl_info *) { return 0; };
    const SystemCallsInForce inForce(calls);
    EXPECT_EQ(loadDriver(DRIVER_TYPE_UVC), nullptr);
    EXPECT_THAT(m_log.take(), ElementsAre(milestoneLine("Get Current module path failed!\n")));
}

TEST_F(Inside, NothingIsKeptOfAStreamThatWasClosed)
{
    NubrixDevice *const device = open("usb:1");
    NubrixStream *stream = nullptr;
    ASSERT_EQ(m_context.createStream(device, NUBRIX_STREAM_COLOR, &stream), 0);
    ASSERT_EQ(m_context.closeStream(stream), 0);
    EXPECT_THAT(reach(m_context, streams()).all(), IsEmpty());
    EXPECT_THAT(reach(m_context, streams()).retired(), IsEmpty());
}

TEST_F(Inside, DeletingTheContextWaitsForAnOperation)
{
    auto context = std::make_unique<Context>();
    reach(*context, drivers()).set(DRIVER_TYPE_UVC, &m_usb);
    Latch inOperation;
    std::atomic<int> deleter{0};
    std::atomic<bool> deleted{false};
    m_usb.setHook([&](const std::string &) {
        inOperation.open();
        EXPECT_TRUE(
            eventually([&] { return deleted || (deleter != 0 && hasFallenAsleep(deleter)); }));
        EXPECT_FALSE(deleted);
    });
    std::thread operation([&, inside = context.get()] { inside->setGmslI2CStats(true); });
    ASSERT_TRUE(inOperation.pass());
    std::thread deleting([&] {
        deleter = ::gettid();
        context.reset();
        deleted = true;
    });
    operation.join();
    deleting.join();
    m_usb.setHook({});
}

}  // namespace
}  // namespace nubrix
