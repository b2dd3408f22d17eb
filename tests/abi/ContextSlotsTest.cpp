// Each operation of the context is called by its place in the table.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nubrix/nubrix.h"
#include "tests/abi/RecordedCall.h"

namespace nubrix {
namespace {

using Attribute = ::typedefNubrixeviceAttribute;
using Mode = ::typedefNubrixFrameMode;
using Point = ::typedefNubrixPoint3D;

class RecordedContext final : public NubrixBaseContext {
public:
    ~RecordedContext() override { recordCall("destructor"); }
    int initialize() override { return recordCall("initialize"); }
    int destroy() override { return recordCall("destroy"); }
    int setLogFileSavePath(const char *) override { return recordCall("setLogFileSavePath"); }
    int setDeviceStateCallback(NubrixDeviceStateCallback, void *) override
    {
        return recordCall("setDeviceStateCallback");
    }
    int nubrixGetDeviceList(Attribute **, unsigned int *) override
    {
        return recordCall("nubrixGetDeviceList");
    }
    int nubrixGetGmslDeviceList(_NubrixGmslDeviceInfo **, unsigned int *) override
    {
        return recordCall("nubrixGetGmslDeviceList");
    }
    Attribute *getDeviceAttributeByUri(const char *) override
    {
        recordCall("getDeviceAttributeByUri");
        return nullptr;
    }
    int openDevice(const char *, NubrixDevice **) override { return recordCall("openDevice"); }
    int openDevice2(unsigned int, unsigned int, unsigned int, const char *,
                    NubrixDevice **) override
    {
        return recordCall("openDevice2");
    }
    int setDufDeviceFd(unsigned int, unsigned int, unsigned int, const char *) override
    {
        return recordCall("setDufDeviceFd");
    }
    int closeDevice(NubrixDevice *) override { return recordCall("closeDevice"); }
    int getSupportFrameMode(NubrixDevice *, unsigned int, const Mode **, unsigned int *) override
    {
        return recordCall("getSupportFrameMode");
    }
    int setFrameMode(NubrixDevice *, unsigned int, Mode &) override
    {
        return recordCall("setFrameMode");
    }
    Mode *getCurrentFrameMode(NubrixDevice *, unsigned int) override
    {
        recordCall("getCurrentFrameMode");
        return nullptr;
    }
    int openStream(NubrixDevice *, unsigned int, NubrixStream **, NubrixFrameCallback,
                   void *) override
    {
        return recordCall("openStream");
    }
    int closeStream(NubrixStream *) override { return recordCall("closeStream"); }
    int waitForStreams(NubrixStream **, int, NubrixStream **, int) override
    {
        return recordCall("waitForStreams");
    }
    int readFrame(NubrixStream *, ::typedefNubrixFrame **, int) override
    {
        return recordCall("readFrame");
    }
    int releaseFrame(::typedefNubrixFrame *) override { return recordCall("releaseFrame"); }
    int setDeviceProperty(NubrixDevice *, unsigned int, const void *, unsigned int) override
    {
        return recordCall("setDeviceProperty");
    }
    int getDeviceProperty(NubrixDevice *, unsigned int, void *, unsigned int *) override
    {
        return recordCall("getDeviceProperty");
    }
    int propertyTranspraentTransmission(NubrixDevice *, unsigned char *, unsigned int,
                                        unsigned char *, unsigned int *) override
    {
        return recordCall("propertyTranspraentTransmission");
    }
    int setStreamFlagMode(NubrixDevice *, unsigned int) override
    {
        return recordCall("setStreamFlagMode");
    }
    int createRecorder(const char *, NubrixRecord **) override
    {
        return recordCall("createRecorder");
    }
    int recorderAttachStream(NubrixRecord *, NubrixStream *) override
    {
        return recordCall("recorderAttachStream");
    }
    int recorderStart(NubrixRecord *) override { return recordCall("recorderStart"); }
    int recorderStop(NubrixRecord *) override { return recordCall("recorderStop"); }
    int destroyRecorder(NubrixRecord *) override { return recordCall("destroyRecorder"); }
    int setTemperatureParamsFilePath(NubrixDevice *, const char *) override
    {
        return recordCall("setTemperatureParamsFilePath");
    }
    int setLogLevel(unsigned int) override { return recordCall("setLogLevel"); }
    int setLogFolder(const char *) override { return recordCall("setLogFolder"); }
    int getVersion(NubrixDevice *, ::NubrixVersions *) override { return recordCall("getVersion"); }
    void setErrorCode(::NubrixErrorCode code) override
    {
        recordCall(code == NUBRIX_ERR_NO_FRAME ? "setErrorCode" : "setErrorCode wrong");
    }
    int logInfo(::NubrixLogLevel level, const char *, ...) override
    {
        return recordCall(level == NUBRIX_LOG_ERROR ? "logInfo" : "logInfo wrong");
    }
    int takePhoto(const char *) override { return recordCall("takePhoto"); }
    int convertDepthToPointCloud(const unsigned short *, unsigned int, unsigned int, float, float,
                                 float, float, float cy, Point *, unsigned int type, bool) override
    {
        return recordCall(cy == 5.0F && type == 2 ? "convertDepthToPointCloud" : "wrong arguments");
    }
    int convertDepthToPointCloud2(NubrixDevice *, const unsigned short *, unsigned int,
                                  unsigned int, float, float, float, float, float cy, Point *,
                                  unsigned int type, bool) override
    {
        return recordCall(cy == 5.0F && type == 2 ? "convertDepthToPointCloud2"
                                                  : "wrong arguments");
    }
    int convertDepthToPointCloudWithRGBA(const unsigned short *, unsigned int, unsigned int, float,
                                         float, float, float, float cy, Point *,
                                         ::typedefNubrixRGBA *, unsigned int type, bool) override
    {
        return recordCall(cy == 5.0F && type == 2 ? "convertDepthToPointCloudWithRGBA"
                                                  : "wrong arguments");
    }
    int deviceStartUpgradeOffLine(NubrixDevice *, const ::typedefNubrixUpgradeCallbacks *,
                                  const char *) override
    {
        return recordCall("deviceStartUpgradeOffLine");
    }
    int setDeviceStatusChange(int, int, const char *, unsigned int) override
    {
        return recordCall("setDeviceStatusChange");
    }
    int setStreamCallback(NubrixStream *, NubrixFrameCallback, void *) override
    {
        return recordCall("setStreamCallback");
    }
    int setGmslI2CStats(bool) override { return recordCall("setGmslI2CStats"); }
    int setGmslI2CAddress(std::string address) override
    {
        return recordCall("setGmslI2CAddress " + address);
    }
};

// Those whose arguments are pointers and words, by the number of their place.
const std::vector<std::pair<std::size_t, std::string>> kByWords = {
    {2, "initialize"},
    {3, "destroy"},
    {4, "setLogFileSavePath"},
    {5, "setDeviceStateCallback"},
    {6, "nubrixGetDeviceList"},
    {7, "nubrixGetGmslDeviceList"},
    {9, "openDevice"},
    {10, "openDevice2"},
    {11, "setDufDeviceFd"},
    {12, "closeDevice"},
    {13, "getSupportFrameMode"},
    {14, "setFrameMode"},
    {16, "openStream"},
    {17, "closeStream"},
    {18, "waitForStreams"},
    {19, "readFrame"},
    {20, "releaseFrame"},
    {21, "setDeviceProperty"},
    {22, "getDeviceProperty"},
    {23, "propertyTranspraentTransmission"},
    {24, "setStreamFlagMode"},
    {25, "createRecorder"},
    {26, "recorderAttachStream"},
    {27, "recorderStart"},
    {28, "recorderStop"},
    {29, "destroyRecorder"},
    {30, "setTemperatureParamsFilePath"},
    {31, "setLogLevel"},
    {32, "setLogFolder"},
    {33, "getVersion"},
    {36, "takePhoto"},
    {40, "deviceStartUpgradeOffLine"},
    {41, "setDeviceStatusChange"},
    {42, "setStreamCallback"},
    {43, "setGmslI2CStats"},
};

TEST(ContextSlotsTest, OperationsOnPointersAndWords)
{
    RecordedContext object;
    void *const none = nullptr;
    for (const auto &[slot, operation] : kByWords)
        EXPECT_EQ(called(&object, slot, none, none, none, none, none), operation) << slot;
}

TEST(ContextSlotsTest, OperationsThatGiveAPointer)
{
    RecordedContext object;
    EXPECT_EQ((callSlot<Attribute *, const char *>(&object, 8, "x")), nullptr);
    EXPECT_EQ(g_called, "getDeviceAttributeByUri");
    EXPECT_EQ((callSlot<Mode *, NubrixDevice *, unsigned int>(&object, 15, nullptr, 1)), nullptr);
    EXPECT_EQ(g_called, "getCurrentFrameMode");
}

TEST(ContextSlotsTest, TheErrorCodeAndTheLog)
{
    RecordedContext object;
    callSlot<void, ::NubrixErrorCode>(&object, 34, NUBRIX_ERR_NO_FRAME);
    EXPECT_EQ(g_called, "setErrorCode");
    void *const *const table = *reinterpret_cast<void *const **>(&object);
    const auto logInfo =
        reinterpret_cast<int (*)(void *, ::NubrixLogLevel, const char *, ...)>(table[35]);
    EXPECT_EQ(logInfo(&object, NUBRIX_LOG_ERROR, "%d", 1), kAnswer);
    EXPECT_EQ(g_called, "logInfo");
}

TEST(ContextSlotsTest, PointClouds)
{
    RecordedContext object;
    EXPECT_EQ((called<const unsigned short *, unsigned int, unsigned int, float, float, float,
                      float, float, Point *, unsigned int, bool>(&object, 37, nullptr, 1, 1, 1, 2,
                                                                 3, 4, 5, nullptr, 2, true)),
              "convertDepthToPointCloud");
    EXPECT_EQ((called<NubrixDevice *, const unsigned short *, unsigned int, unsigned int, float,
                      float, float, float, float, Point *, unsigned int, bool>(
                  &object, 38, nullptr, nullptr, 1, 1, 1, 2, 3, 4, 5, nullptr, 2, true)),
              "convertDepthToPointCloud2");
    EXPECT_EQ((called<const unsigned short *, unsigned int, unsigned int, float, float, float,
                      float, float, Point *, ::typedefNubrixRGBA *, unsigned int, bool>(
                  &object, 39, nullptr, 1, 1, 1, 2, 3, 4, 5, nullptr, nullptr, 2, true)),
              "convertDepthToPointCloudWithRGBA");
}

TEST(ContextSlotsTest, TheLastOneTakesAStringByValue)
{
    RecordedContext object;
    EXPECT_EQ(called<std::string>(&object, 44, "0x36"), "setGmslI2CAddress 0x36");
}

TEST(ContextSlotsTest, TheFirstTwoSlotsAreTheDestructors)
{
    g_called.clear();
    callSlot<void>(new RecordedContext, 1);
    EXPECT_EQ(g_called, "destructor");
}

}  // namespace
}  // namespace nubrix
