// Each operation of drivers, their streams and upgraders is called by its place in the table.
#include <gtest/gtest.h>

#include <string>

#include "nubrix/driver.h"
#include "tests/abi/RecordedCall.h"

namespace nubrix {
namespace {

class RecordedStream final : public NubrixBaseStream {
public:
    ~RecordedStream() override { recordCall("destructor"); }
    unsigned int getFrameBufferSize() override
    {
        return static_cast<unsigned int>(recordCall("getFrameBufferSize"));
    }
    int setFrameAllocator(FrameAllocatorInterfaceBase *allocator) override
    {
        return recordCall(allocator ? "setFrameAllocator" : "setFrameAllocator null");
    }
    int setFrameCallback(DriverFrameCallback callback, void *user) override
    {
        return recordCall(callback || !user ? "setFrameCallback wrong" : "setFrameCallback");
    }
    int start() override { return recordCall("start"); }
    int stop() override { return recordCall("stop"); }
};

TEST(DriverSlotsTest, Stream)
{
    RecordedStream object;
    int user = 0;
    EXPECT_EQ(called(&object, 2), "getFrameBufferSize");
    EXPECT_EQ(called<FrameAllocatorInterfaceBase *>(&object, 3, nullptr), "setFrameAllocator null");
    EXPECT_EQ((called<DriverFrameCallback, void *>(&object, 4, nullptr, &user)),
              "setFrameCallback");
    EXPECT_EQ(called(&object, 5), "start");
    EXPECT_EQ(called(&object, 6), "stop");
}

TEST(DriverSlotsTest, TheFirstTwoSlotsAreTheDestructors)
{
    g_called.clear();
    callSlot<void>(new RecordedStream, 1);
    EXPECT_EQ(g_called, "destructor");
    alignas(RecordedStream) unsigned char memory[sizeof(RecordedStream)];
    g_called.clear();
    callSlot<void>(new (memory) RecordedStream, 0);
    EXPECT_EQ(g_called, "destructor");
}

class RecordedDriver final : public NubrixBaseDriver {
public:
    ~RecordedDriver() override { recordCall("destructor"); }
    int initialize() override { return recordCall("initialize"); }
    int uninitialize() override { return recordCall("uninitialize"); }
    int setDeviceStateCallback(DriverStateCallback, void *) override
    {
        return recordCall("setDeviceStateCallback");
    }
    int getDeviceList(typedefNubrixeviceAttribute *, unsigned int *count) override
    {
        return recordCall("getDeviceList " + std::to_string(*count));
    }
    int getGmslDeviceList(_NubrixGmslDeviceInfo *, unsigned int *count) override
    {
        return recordCall("getGmslDeviceList " + std::to_string(*count));
    }
    int openDevice(const char *uri, NubrixBaseDevice **) override
    {
        return recordCall(std::string("openDevice ") + uri);
    }
    int openDeviceByFd(unsigned int vid, unsigned int pid, int fd, const char *path,
                       NubrixBaseDevice **) override
    {
        return recordCall("openDeviceByFd " + std::to_string(vid) + " " + std::to_string(pid) +
                          " " + std::to_string(fd) + " " + path);
    }
    int closeDevice(NubrixBaseDevice **) override { return recordCall("closeDevice"); }
    int setUpgradeStatus(bool on) override { return recordCall(on ? "setUpgradeStatus" : "off"); }
    int setGmslI2CStats(bool on) override { return recordCall(on ? "setGmslI2CStats" : "off"); }
    int setGmslI2CAddress(std::string address) override
    {
        return recordCall("setGmslI2CAddress " + address);
    }
};

TEST(DriverSlotsTest, Driver)
{
    RecordedDriver object;
    unsigned int count = 60;
    EXPECT_EQ(called(&object, 2), "initialize");
    EXPECT_EQ(called(&object, 3), "uninitialize");
    EXPECT_EQ((called<DriverStateCallback, void *>(&object, 4, nullptr, nullptr)),
              "setDeviceStateCallback");
    EXPECT_EQ((called<typedefNubrixeviceAttribute *, unsigned int *>(&object, 5, nullptr, &count)),
              "getDeviceList 60");
    EXPECT_EQ((called<_NubrixGmslDeviceInfo *, unsigned int *>(&object, 6, nullptr, &count)),
              "getGmslDeviceList 60");
    EXPECT_EQ((called<const char *, NubrixBaseDevice **>(&object, 7, "u", nullptr)),
              "openDevice u");
    EXPECT_EQ((called<unsigned int, unsigned int, int, const char *, NubrixBaseDevice **>(
                  &object, 8, 1, 2, -3, "p", nullptr)),
              "openDeviceByFd 1 2 -3 p");
    EXPECT_EQ((called<NubrixBaseDevice **>(&object, 9, nullptr)), "closeDevice");
    EXPECT_EQ(called<bool>(&object, 10, true), "setUpgradeStatus");
    EXPECT_EQ(called<bool>(&object, 11, true), "setGmslI2CStats");
    EXPECT_EQ(called<std::string>(&object, 12, "0x36"), "setGmslI2CAddress 0x36");
}

class PlainDriver final : public NubrixBaseDriver {
public:
    int initialize() override { return 0; }
    int setDeviceStateCallback(DriverStateCallback, void *) override { return 0; }
    int getDeviceList(typedefNubrixeviceAttribute *, unsigned int *) override { return 0; }
    int openDevice(const char *, NubrixBaseDevice **) override { return 0; }
    int closeDevice(NubrixBaseDevice **) override { return 0; }
};

TEST(DriverSlotsTest, DriverDefaults)
{
    PlainDriver object;
    unsigned int count = 60;
    EXPECT_EQ(callSlot<int>(&object, 3), 0);
    EXPECT_EQ((callSlot<int, _NubrixGmslDeviceInfo *, unsigned int *>(&object, 6, nullptr, &count)),
              0);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ((callSlot<int, unsigned int, unsigned int, int, const char *, NubrixBaseDevice **>(
                  &object, 8, 1, 2, 3, "p", nullptr)),
              -8);
    EXPECT_EQ((callSlot<int, bool>(&object, 10, true)), 0);
    EXPECT_EQ((callSlot<int, bool>(&object, 11, true)), 0);
    EXPECT_EQ((callSlot<int, std::string>(&object, 12, "")), 0);
}

class RecordedUpgrade final : public NubrixBaseUpgrade {
public:
    int deviceStartUpgradeOffLine(const typedefNubrixUpgradeCallbacks *, const char *file) override
    {
        return recordCall(std::string("deviceStartUpgradeOffLine ") + file);
    }
    void onDeviceStateChange(const char *address, const char *, const char *,
                             unsigned int state) override
    {
        recordCall(std::string("event ") + address + " " + std::to_string(state));
    }
    void onDeviceStateChange(const char *path, int a, int b, unsigned int d) override
    {
        recordCall(std::string("status ") + path + " " + std::to_string(a) + std::to_string(b) +
                   std::to_string(d));
    }
    void setDufDeviceFd(unsigned int a, unsigned int b, unsigned int c, const char *d) override
    {
        recordCall("setDufDeviceFd " + std::to_string(a) + std::to_string(b) + std::to_string(c) +
                   d);
    }
    bool isUpgradeState() override { return recordCall("isUpgradeState") == kAnswer; }
    std::string getDeviceSerialNumber() override { return "serial"; }
    std::string getDeviceLocation() override { return "a location that is not short"; }
};

TEST(DriverSlotsTest, Upgrade)
{
    RecordedUpgrade object;
    EXPECT_EQ(
        (called<const typedefNubrixUpgradeCallbacks *, const char *>(&object, 2, nullptr, "f")),
        "deviceStartUpgradeOffLine f");
    callSlot<void, const char *, const char *, const char *, unsigned int>(&object, 3, "a", "b",
                                                                           "c", 1);
    EXPECT_EQ(g_called, "event a 1");
    callSlot<void, const char *, int, int, unsigned int>(&object, 4, "p", 1, 2, 3);
    EXPECT_EQ(g_called, "status p 123");
    callSlot<void, unsigned int, unsigned int, unsigned int, const char *>(&object, 5, 1, 2, 3,
                                                                           "x");
    EXPECT_EQ(g_called, "setDufDeviceFd 123x");
    EXPECT_TRUE(callSlot<bool>(&object, 6));
    EXPECT_EQ(callSlot<std::string>(&object, 7), "serial");
    EXPECT_EQ(callSlot<std::string>(&object, 8), "a location that is not short");
}

TEST(DriverSlotsTest, UpgradeDefaults)
{
    NubrixBaseUpgrade object;
    EXPECT_EQ((callSlot<int, const typedefNubrixUpgradeCallbacks *, const char *>(&object, 2,
                                                                                  nullptr, "f")),
              -1);
    callSlot<void, const char *, const char *, const char *, unsigned int>(&object, 3, "", "", "",
                                                                           0);
    callSlot<void, const char *, int, int, unsigned int>(&object, 4, "", 0, 0, 0);
    callSlot<void, unsigned int, unsigned int, unsigned int, const char *>(&object, 5, 0, 0, 0, "");
    EXPECT_FALSE(callSlot<bool>(&object, 6));
    EXPECT_EQ(callSlot<std::string>(&object, 7), "");
    EXPECT_EQ(callSlot<std::string>(&object, 8), "");
}

}  // namespace
}  // namespace nubrix
