// Each operation of a driver's device is called by its place in the table.
#include <gtest/gtest.h>

#include <string>

#include "nubrix/driver.h"
#include "tests/abi/RecordedCall.h"

namespace nubrix {
namespace {

std::string text(float value)
{
    return std::to_string(static_cast<int>(value * 10));
}

class RecordedDevice final : public NubrixBaseDevice {
public:
    ~RecordedDevice() override { recordCall("destructor"); }
    int reservedDevice2() override { return recordCall("2"); }
    int reservedDevice3() override { return recordCall("3"); }
    int createStream(unsigned int type, NubrixBaseStream **) override
    {
        return recordCall("createStream " + std::to_string(type));
    }
    int destroyStream(NubrixBaseStream **) override { return recordCall("destroyStream"); }
    int closeAllStreams() override { return recordCall("closeAllStreams"); }
    int setProperty(unsigned int id, const void *, unsigned int size) override
    {
        return recordCall("setProperty " + std::to_string(id) + " " + std::to_string(size));
    }
    int getProperty(unsigned int id, void *, unsigned int *size) override
    {
        return recordCall("getProperty " + std::to_string(id) + " " + std::to_string(*size));
    }
    int propertyTranspraentTransmission(unsigned char *, unsigned int inSize, unsigned char *,
                                        unsigned int *outSize) override
    {
        return recordCall("propertyTranspraentTransmission " + std::to_string(inSize) + " " +
                          std::to_string(*outSize));
    }
    int deviceState() override { return recordCall("deviceState"); }
    int keepLiveState() override { return recordCall("keepLiveState"); }
    int setTemperatureParamsFilePath(const char *path) override
    {
        return recordCall(std::string("setTemperatureParamsFilePath ") + path);
    }
    int convertDepthToPointCloud2(const unsigned short *, unsigned int width, unsigned int height,
                                  float s, float fx, float fy, float cx, float cy,
                                  typedefNubrixPoint3D *, unsigned int type, bool limit) override
    {
        return recordCall("convertDepthToPointCloud2 " + std::to_string(width) + " " +
                          std::to_string(height) + " " + text(s) + text(fx) + text(fy) + text(cx) +
                          text(cy) + " " + std::to_string(type) + (limit ? " limit" : ""));
    }
    int getSupportFrameMode(unsigned int type, const typedefNubrixFrameMode **,
                            unsigned int *) override
    {
        return recordCall("getSupportFrameMode " + std::to_string(type));
    }
    int setFrameMode(unsigned int type, const typedefNubrixFrameMode &mode, bool restart) override
    {
        return recordCall("setFrameMode " + std::to_string(type) + " " +
                          std::to_string(mode.width) + (restart ? " restart" : ""));
    }
    typedefNubrixFrameMode *getCurrentFrameMode(unsigned int type) override
    {
        recordCall("getCurrentFrameMode " + std::to_string(type));
        return &m_mode;
    }
    int reservedDevice17() override { return recordCall("17"); }
    int reservedDevice18() override { return recordCall("18"); }
    int reservedDevice19() override { return recordCall("19"); }
    int reservedDevice20() override { return recordCall("20"); }
    int reservedDevice21() override { return recordCall("21"); }
    const char *getDeviceId() override
    {
        recordCall("getDeviceId");
        return "the id";
    }
    int reservedDevice23() override { return recordCall("23"); }
    int reservedDevice24() override { return recordCall("24"); }
    int reservedDevice25() override { return recordCall("25"); }
    int getDeviceKind() override { return recordCall("getDeviceKind"); }
    int reservedDevice27() override { return recordCall("27"); }
    int reservedDevice28() override { return recordCall("28"); }
    int reservedDevice29() override { return recordCall("29"); }
    int reservedDevice30() override { return recordCall("30"); }
    int reservedDevice31() override { return recordCall("31"); }
    int reservedDevice32() override { return recordCall("32"); }
    int reservedDevice33() override { return recordCall("33"); }
    int reservedDevice34() override { return recordCall("34"); }
    NubrixBaseUpgrade *createUpgradeIntance() override
    {
        recordCall("createUpgradeIntance");
        return nullptr;
    }

    typedefNubrixFrameMode m_mode = {0, 640, 480, 30};
};

TEST(DeviceSlotsTest, StreamsAndProperties)
{
    RecordedDevice object;
    unsigned int size = 9;
    EXPECT_EQ((called<unsigned int, NubrixBaseStream **>(&object, 4, 2, nullptr)),
              "createStream 2");
    EXPECT_EQ((called<NubrixBaseStream **>(&object, 5, nullptr)), "destroyStream");
    EXPECT_EQ(called(&object, 6), "closeAllStreams");
    EXPECT_EQ((called<unsigned int, const void *, unsigned int>(&object, 7, 75, nullptr, 4)),
              "setProperty 75 4");
    EXPECT_EQ((called<unsigned int, void *, unsigned int *>(&object, 8, 72, nullptr, &size)),
              "getProperty 72 9");
    EXPECT_EQ((called<unsigned char *, unsigned int, unsigned char *, unsigned int *>(
                  &object, 9, nullptr, 3, nullptr, &size)),
              "propertyTranspraentTransmission 3 9");
    EXPECT_EQ(called(&object, 10), "deviceState");
    EXPECT_EQ(called(&object, 11), "keepLiveState");
    EXPECT_EQ((called<const char *>(&object, 12, "/t")), "setTemperatureParamsFilePath /t");
    EXPECT_EQ((called<const unsigned short *, unsigned int, unsigned int, float, float, float,
                      float, float, typedefNubrixPoint3D *, unsigned int, bool>(
                  &object, 13, nullptr, 640, 480, 0.1F, 0.2F, 0.3F, 0.4F, 0.5F, nullptr, 2, true)),
              "convertDepthToPointCloud2 640 480 12345 2 limit");
}

TEST(DeviceSlotsTest, ModesAndIdentity)
{
    RecordedDevice object;
    EXPECT_EQ((called<unsigned int, const typedefNubrixFrameMode **, unsigned int *>(
                  &object, 14, 4, nullptr, nullptr)),
              "getSupportFrameMode 4");
    EXPECT_EQ((called<unsigned int, const typedefNubrixFrameMode *, bool>(&object, 15, 4,
                                                                          &object.m_mode, true)),
              "setFrameMode 4 640 restart");
    EXPECT_EQ((callSlot<typedefNubrixFrameMode *, unsigned int>(&object, 16, 32)), &object.m_mode);
    EXPECT_EQ(g_called, "getCurrentFrameMode 32");
    EXPECT_STREQ(callSlot<const char *>(&object, 22), "the id");
    EXPECT_EQ(g_called, "getDeviceId");
    EXPECT_EQ(called(&object, 26), "getDeviceKind");
    EXPECT_EQ(callSlot<NubrixBaseUpgrade *>(&object, 35), nullptr);
    EXPECT_EQ(g_called, "createUpgradeIntance");
}

constexpr std::size_t kReserved[] = {2,  3,  17, 18, 19, 20, 21, 23, 24,
                                     25, 27, 28, 29, 30, 31, 32, 33, 34};

TEST(DeviceSlotsTest, ReservedSlots)
{
    RecordedDevice object;
    for (const std::size_t slot : kReserved)
        EXPECT_EQ(called(&object, slot), std::to_string(slot));
}

/// Overrides only what it must.
class PlainDevice final : public NubrixBaseDevice {
public:
    int createStream(unsigned int, NubrixBaseStream **) override { return 0; }
    int destroyStream(NubrixBaseStream **) override { return 0; }
    int deviceState() override { return 0; }
    int keepLiveState() override { return 0; }
    int getSupportFrameMode(unsigned int, const typedefNubrixFrameMode **, unsigned int *) override
    {
        return 0;
    }
    int setFrameMode(unsigned int, const typedefNubrixFrameMode &, bool) override { return 0; }
    typedefNubrixFrameMode *getCurrentFrameMode(unsigned int) override { return nullptr; }
    const char *getDeviceId() override { return ""; }
    int getDeviceKind() override { return 0; }
};

TEST(DeviceSlotsTest, Defaults)
{
    PlainDevice object;
    for (const std::size_t slot : kReserved)
        EXPECT_EQ(callSlot<int>(&object, slot), -8) << slot;
    EXPECT_EQ(callSlot<int>(&object, 6), 0);
    EXPECT_EQ((callSlot<int, unsigned int, const void *, unsigned int>(&object, 7, 1, nullptr, 0)),
              -8);
    EXPECT_EQ(
        (callSlot<int, unsigned int, void *, unsigned int *>(&object, 8, 1, nullptr, nullptr)), -8);
    EXPECT_EQ(object.propertyTranspraentTransmission(nullptr, 0, nullptr, nullptr), -8);
    EXPECT_EQ((callSlot<int, const char *>(&object, 12, "")), -8);
    EXPECT_EQ(object.convertDepthToPointCloud2(nullptr, 0, 0, 0, 0, 0, 0, 0, nullptr, 0, false),
              -8);
    EXPECT_EQ(callSlot<NubrixBaseUpgrade *>(&object, 35), nullptr);
}

}  // namespace
}  // namespace nubrix
