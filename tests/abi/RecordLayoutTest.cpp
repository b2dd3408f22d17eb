// The sizes, places and values that applications and plug-ins are compiled with.
#include <gtest/gtest.h>

#include <cstddef>

#include "nubrix/driver.h"
#include "nubrix/nubrix.h"

namespace {

constexpr std::size_t kPointer = sizeof(void *);
constexpr bool kNarrow = kPointer == 4;

#define EXPECT_FIELD(record, field, offset, size)      \
    do {                                               \
        EXPECT_EQ(offsetof(record, field), offset);    \
        EXPECT_EQ(sizeof(record::field), (size) + 0U); \
    } while (false)

TEST(RecordLayoutTest, Frame)
{
    EXPECT_EQ(sizeof(typedefNubrixFrame), kNarrow ? 44U : 56U);
    EXPECT_FIELD(typedefNubrixFrame, pixelFormat, 0U, 4U);
    EXPECT_FIELD(typedefNubrixFrame, streamType, 4U, 4U);
    EXPECT_FIELD(typedefNubrixFrame, frameIndex, 8U, 4U);
    EXPECT_FIELD(typedefNubrixFrame, timestampLow, 12U, 4U);
    EXPECT_FIELD(typedefNubrixFrame, timestampHigh, 16U, 4U);
    EXPECT_FIELD(typedefNubrixFrame, flags, 20U, 4U);
    EXPECT_FIELD(typedefNubrixFrame, width, 24U, 4U);
    EXPECT_FIELD(typedefNubrixFrame, height, 28U, 4U);
    EXPECT_FIELD(typedefNubrixFrame, dataSize, 32U, 4U);
    EXPECT_FIELD(typedefNubrixFrame, data, kNarrow ? 36U : 40U, kPointer);
    EXPECT_FIELD(typedefNubrixFrame, reserved, kNarrow ? 40U : 48U, 4U);
}

TEST(RecordLayoutTest, FrameMode)
{
    EXPECT_EQ(sizeof(typedefNubrixFrameMode), 12U);
    EXPECT_FIELD(typedefNubrixFrameMode, pixelFormat, 0U, 4U);
    EXPECT_FIELD(typedefNubrixFrameMode, width, 4U, 2U);
    EXPECT_FIELD(typedefNubrixFrameMode, height, 6U, 2U);
    EXPECT_FIELD(typedefNubrixFrameMode, frameRate, 8U, 1U);
    typedefNubrixFrameMode mode = {};
    mode.frameRate = -1;
    EXPECT_LT(mode.frameRate, 0) << "signed, also where char is not";
}

TEST(RecordLayoutTest, DeviceAttribute)
{
    EXPECT_EQ(sizeof(typedefNubrixeviceAttribute), 593U);
    EXPECT_EQ(alignof(typedefNubrixeviceAttribute), 1U);
    EXPECT_FIELD(typedefNubrixeviceAttribute, vendorId, 0U, 4U);
    EXPECT_FIELD(typedefNubrixeviceAttribute, productId, 4U, 4U);
    EXPECT_FIELD(typedefNubrixeviceAttribute, transport, 8U, 4U);
    EXPECT_FIELD(typedefNubrixeviceAttribute, serialNumber, 12U, 64U);
    EXPECT_FIELD(typedefNubrixeviceAttribute, deviceState, 76U, 4U);
    EXPECT_FIELD(typedefNubrixeviceAttribute, uri, 80U, 257U);
    EXPECT_FIELD(typedefNubrixeviceAttribute, location, 337U, 128U);
    EXPECT_FIELD(typedefNubrixeviceAttribute, productName, 465U, 128U);
}

TEST(RecordLayoutTest, Versions)
{
    EXPECT_EQ(sizeof(NubrixVersions), 82U);
    EXPECT_FIELD(NubrixVersions, sdk, 0U, 6U);
    EXPECT_FIELD(NubrixVersions, firmware, 6U, 6U);
    EXPECT_FIELD(NubrixVersions, hardware, 12U, 6U);
    EXPECT_FIELD(NubrixVersions, serialNumber, 18U, 64U);
}

TEST(RecordLayoutTest, StreamCounters)
{
    EXPECT_EQ(sizeof(NubrixStreamCounters), 20U);
    EXPECT_FIELD(NubrixStreamCounters, delivered, 0U, 4U);
    EXPECT_FIELD(NubrixStreamCounters, flagged, 4U, 4U);
    EXPECT_FIELD(NubrixStreamCounters, held, 8U, 4U);
    EXPECT_FIELD(NubrixStreamCounters, unusable, 12U, 4U);
    EXPECT_FIELD(NubrixStreamCounters, missed, 16U, 4U);
}

TEST(RecordLayoutTest, StreamLedger)
{
    EXPECT_EQ(sizeof(NubrixStreamLedger), 160U);
    EXPECT_FIELD(NubrixStreamLedger, size, 0U, 4U);
    EXPECT_FIELD(NubrixStreamLedger, driverKnows, 4U, 4U);
    EXPECT_FIELD(NubrixStreamLedger, handedOver, 8U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, delivered, 16U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, read, 24U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, replaced, 32U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, usedInPlace, 40U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, discarded, 48U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, queued, 56U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, released, 64U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, held, 72U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, longestHeldMicroseconds, 80U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, callbackMicroseconds, 88U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, toRecorders, 96U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, recorded, 104U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, refused, 112U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, unclaimed, 120U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, lostOnWire, 128U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, damaged, 136U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, flagged, 144U, 8U);
    EXPECT_FIELD(NubrixStreamLedger, droppedWhileSlow, 152U, 8U);
}

TEST(RecordLayoutTest, TheRest)
{
    EXPECT_EQ(sizeof(_NubrixGmslDeviceInfo), 68U);
    EXPECT_FIELD(_NubrixGmslDeviceInfo, deviceType, 0U, 4U);
    EXPECT_FIELD(_NubrixGmslDeviceInfo, devicePath, 4U, 64U);
    EXPECT_EQ(sizeof(typedefNubrixPoint3D), 12U);
    EXPECT_FIELD(typedefNubrixPoint3D, y, 4U, 4U);
    EXPECT_FIELD(typedefNubrixPoint3D, z, 8U, 4U);
    EXPECT_EQ(sizeof(typedefNubrixRGBA), 16U);
    EXPECT_FIELD(typedefNubrixRGBA, a, 12U, 4U);
    EXPECT_EQ(sizeof(typedefNubrixUpgradeCallbacks), 3 * kPointer);
    EXPECT_EQ(offsetof(typedefNubrixUpgradeCallbacks, onFinished), kPointer);
    EXPECT_EQ(offsetof(typedefNubrixUpgradeCallbacks, user), 2 * kPointer);
}

TEST(RecordLayoutTest, StreamTypesAndStates)
{
    EXPECT_EQ(NUBRIX_STREAM_COLOR, 1U);
    EXPECT_EQ(NUBRIX_STREAM_DEPTH, 2U);
    EXPECT_EQ(NUBRIX_STREAM_IR, 4U);
    EXPECT_EQ(NUBRIX_STREAM_LIGHT_IR, 32U);
    EXPECT_EQ(NUBRIX_DEVICE_CONNECTED, 0U);
    EXPECT_EQ(NUBRIX_DEVICE_DISCONNECTED, 1U);
    EXPECT_EQ(DRIVER_TYPE_UVC, 1);
    EXPECT_EQ(DRIVER_TYPE_NET, 2);
    EXPECT_EQ(DRIVER_TYPE_MINI, 3);
    EXPECT_EQ(sizeof(DRIVER_TYPE), 4U);
    EXPECT_EQ(NUBRIX_PROPERTY_VERSION, 72U);
    EXPECT_EQ(NUBRIX_PROPERTY_STREAM_FLAG_MODE, 75U);
    EXPECT_EQ(NUBRIX_PROPERTY_STREAM_COUNTERS, 0x5a00U);
}

TEST(RecordLayoutTest, PixelFormatsAreNumberedFromZero)
{
    unsigned int code = 0;
    for (const unsigned int format :
         {NUBRIX_PIXEL_RGB888, NUBRIX_PIXEL_DEPTH_12_4, NUBRIX_PIXEL_DEPTH_13_3,
          NUBRIX_PIXEL_DEPTH_14_2, NUBRIX_PIXEL_DEPTH_MM, NUBRIX_PIXEL_GREY8, NUBRIX_PIXEL_GREY16,
          NUBRIX_PIXEL_YUYV, NUBRIX_PIXEL_UYVY, NUBRIX_PIXEL_NV21, NUBRIX_PIXEL_I420,
          NUBRIX_PIXEL_JPEG})
        EXPECT_EQ(format, code++);
    EXPECT_EQ(code, 12U);
}

TEST(RecordLayoutTest, LogLevels)
{
    EXPECT_EQ(NUBRIX_LOG_TRACE, 0);
    EXPECT_EQ(NUBRIX_LOG_INFO, 1);
    EXPECT_EQ(NUBRIX_LOG_WARNING, 2);
    EXPECT_EQ(NUBRIX_LOG_ERROR, 3);
    EXPECT_EQ(NUBRIX_LOG_MILESTONE, 4);
}

TEST(RecordLayoutTest, ErrorNumbers)
{
    EXPECT_EQ(NUBRIX_ERR_NOT_INITIALIZED, 0x80300101U);
    EXPECT_EQ(NUBRIX_ERR_INVALID_DEVICE, 0x80300102U);
    EXPECT_EQ(NUBRIX_ERR_DEVICE_NOT_FOUND, 0x80300104U);
    EXPECT_EQ(NUBRIX_ERR_INVALID_STREAM, 0x80300105U);
    EXPECT_EQ(NUBRIX_ERR_TOO_MANY_STREAMS, 0x80300106U);
    EXPECT_EQ(NUBRIX_ERR_NO_FRAME, 0x80300107U);
    EXPECT_EQ(NUBRIX_ERR_FRAME_UNAVAILABLE, 0x8030010aU);
    EXPECT_EQ(NUBRIX_ERR_STREAM_CREATE, 0x80300111U);
    EXPECT_EQ(NUBRIX_ERR_URI_NOT_FOUND, 0x80300206U);
    EXPECT_EQ(NUBRIX_ERR_OPEN_FAILED, 0x80300208U);
    EXPECT_EQ(NUBRIX_ERR_FILE_OPEN, 0x8030040dU);
    EXPECT_EQ(NUBRIX_ERR_THREAD_NOT_CREATED, 0x80300410U);
    EXPECT_EQ(NUBRIX_ERR_THREAD_PRIORITY, 0x80300411U);
    EXPECT_EQ(NUBRIX_ERR_THREAD_START, 0x80300412U);
    EXPECT_EQ(NUBRIX_ERR_STREAM_HANDLE, 0x8030059cU);
    EXPECT_EQ(NUBRIX_ERR_PREPROCESS, 0x803005aaU);
    EXPECT_EQ(sizeof(NubrixErrorCode), 4U);
}

TEST(RecordLayoutTest, InterfacesHoldNoData)
{
    EXPECT_EQ(sizeof(NubrixBaseContext), kPointer);
    EXPECT_EQ(sizeof(nubrix::NubrixBaseDriver), kPointer);
    EXPECT_EQ(sizeof(nubrix::NubrixBaseDevice), kPointer);
    EXPECT_EQ(sizeof(nubrix::NubrixBaseStream), kPointer);
    EXPECT_EQ(sizeof(NubrixBaseUpgrade), kPointer);
    EXPECT_EQ(sizeof(nubrix::FrameAllocatorInterfaceBase), kPointer);
}

TEST(RecordLayoutTest, EitherSpellingNamesTheSameType)
{
    EXPECT_TRUE((std::is_same_v<NubrixBaseDriver, nubrix::NubrixBaseDriver>));
    EXPECT_TRUE((std::is_same_v<NubrixBaseUpgrade, nubrix::NubrixBaseUpgrade>));
    EXPECT_TRUE((std::is_same_v<NubrixFrameRef, nubrix::NubrixFrameRef>));
    EXPECT_TRUE((std::is_same_v<NubrixBaseContext, nubrix::NubrixBaseContext>));
    EXPECT_TRUE((std::is_same_v<typedefNubrixFrame, nubrix::typedefNubrixFrame>));
}

}  // namespace
