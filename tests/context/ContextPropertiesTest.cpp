// What is passed through to an open camera.
#include <cstring>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Properties : public DeviceFixture {
protected:
    static constexpr unsigned int kType = NUBRIX_STREAM_DEPTH;
    static constexpr typedefNubrixFrameMode kMode = {NUBRIX_PIXEL_DEPTH_12_4, 640, 480, 30};
};

TEST_F(Properties, ModesAreTheDriversOwnTable)
{
    m_usb.setModes({kMode, {NUBRIX_PIXEL_GREY8, 320, 240, 60}});
    const typedefNubrixFrameMode *modes = nullptr;
    const typedefNubrixFrameMode *again = nullptr;
    unsigned int count = 0;
    EXPECT_EQ(
        outcome([&] { return context().getSupportFrameMode(m_device, kType, &modes, &count); }),
        (Outcome{}));
    ASSERT_EQ(count, 2U);
    EXPECT_EQ(modes[1].width, 320);
    EXPECT_EQ(modes[1].frameRate, 60);
    m_usb.results.getSupportFrameMode = -31;
    EXPECT_EQ(context().getSupportFrameMode(m_device, kType, &again, &count), -31);
    EXPECT_EQ(modes, again);
    EXPECT_THAT(m_usb.calls(),
                ElementsAre("usb:1 getSupportFrameMode 2", "usb:1 getSupportFrameMode 2"));
}

TEST_F(Properties, AModeIsSetWithoutARestart)
{
    typedefNubrixFrameMode mode = kMode;
    EXPECT_EQ(outcome([&] { return context().setFrameMode(m_device, kType, mode); }), (Outcome{}));
    m_usb.results.setFrameMode = -4;
    EXPECT_EQ(context().setFrameMode(m_device, kType, mode), -4);
    EXPECT_THAT(m_usb.calls(),
                ElementsAre("usb:1 setFrameMode 2 640x480@30", "usb:1 setFrameMode 2 640x480@30"));
}

TEST_F(Properties, TheCurrentModeIsTheDriversOwnRecord)
{
    EXPECT_EQ(outcome([&] { return context().getCurrentFrameMode(m_device, kType); }), (Outcome{}))
        << "there is none, which is no error";
    m_usb.setCurrentMode(kMode);
    typedefNubrixFrameMode *const mode = context().getCurrentFrameMode(m_device, kType);
    ASSERT_NE(mode, nullptr);
    EXPECT_EQ(mode->height, 480);
    EXPECT_EQ(mode, context().getCurrentFrameMode(m_device, kType));
}

TEST_F(Properties, APropertyIsWrittenByTheDriver)
{
    const unsigned char data[3] = {1, 2, 0xff};
    EXPECT_EQ(outcome([&] { return context().setDeviceProperty(m_device, 9, data, 3); }),
              (Outcome{}));
    m_usb.results.setProperty = 3;
    EXPECT_EQ(context().setDeviceProperty(m_device, 9, data, 0), 3) << "not only negative ones";
    EXPECT_THAT(m_usb.calls(), ElementsAre("usb:1 setProperty 9 0102ff", "usb:1 setProperty 9 "));
}

TEST_F(Properties, APropertyIsReadFromTheDriver)
{
    m_usb.setPropertyValue(9, {5, 6});
    unsigned char data[4] = {};
    unsigned int size = 4;
    EXPECT_EQ(outcome([&] { return context().getDeviceProperty(m_device, 9, data, &size); }),
              (Outcome{}));
    EXPECT_EQ(size, 2U);
    EXPECT_EQ(data[1], 6);
    EXPECT_EQ(context().getDeviceProperty(m_device, 10, data, &size), -8);
    m_usb.results.getProperty = -17;
    EXPECT_EQ(context().getDeviceProperty(m_device, 9, data, &size), -17);
    EXPECT_EQ(m_usb.calls().front(), "usb:1 getProperty 9 4");
}

TEST_F(Properties, RawCommandsGoThrough)
{
    unsigned char in[3] = {1, 2, 3};
    unsigned char out[8] = {};
    unsigned int size = 8;
    EXPECT_EQ(outcome([&] {
                  return context().propertyTranspraentTransmission(m_device, in, 3, out, &size);
              }),
              (Outcome{}));
    EXPECT_EQ(size, 3U);
    EXPECT_EQ(out[0], 3);
    m_usb.results.transparent = -5;
    EXPECT_EQ(context().propertyTranspraentTransmission(m_device, in, 3, out, &size), -5);
    EXPECT_EQ(m_usb.calls().front(), "usb:1 propertyTranspraentTransmission 010203 8");
}

TEST_F(Properties, TheVersionIsAPropertyOf82Bytes)
{
    std::vector<unsigned char> version(82);
    version[0] = 2;
    version[4] = 182;
    std::memcpy(&version[18], "VIRT0001", 9);
    m_usb.setPropertyValue(72, version);
    NubrixVersions versions = {};
    EXPECT_EQ(outcome([&] { return context().getVersion(m_device, &versions); }), (Outcome{}));
    EXPECT_EQ(std::memcmp(&versions, version.data(), 82), 0);
    m_usb.setPropertyValue(72, {7});
    EXPECT_EQ(context().getVersion(m_device, &versions), 0) << "what was written is not looked at";
    m_usb.results.getProperty = -9;
    EXPECT_EQ(context().getVersion(m_device, &versions), -9);
    EXPECT_THAT(m_usb.calls(),
                testing::AllOf(testing::SizeIs(3), testing::Each("usb:1 getProperty 72 82")));
}

TEST_F(Properties, ThePathOfTheTemperatureParametersGoesThrough)
{
    EXPECT_EQ(outcome([&] { return context().setTemperatureParamsFilePath(m_device, "/tmp/t"); }),
              (Outcome{}));
    m_usb.results.setTemperatureParamsFilePath = -8;
    EXPECT_EQ(context().setTemperatureParamsFilePath(m_device, nullptr), -8);
    EXPECT_THAT(m_usb.calls(), ElementsAre("usb:1 setTemperatureParamsFilePath /tmp/t",
                                           "usb:1 setTemperatureParamsFilePath (null)"));
}

TEST_F(Properties, TheStreamFlagModeIsAPropertyOfFourBytes)
{
    for (unsigned int mode = 1; mode <= 4; ++mode) {
        m_usb.takeCalls();
        const std::string line = "4 Set Stream Flag Mode = " + std::to_string(mode);
        EXPECT_EQ(outcome([&] { return context().setStreamFlagMode(m_device, mode); }),
                  (Outcome{0, 0, {line}}));
        EXPECT_THAT(m_usb.calls(),
                    ElementsAre("usb:1 setProperty 75 0" + std::to_string(mode) + "000000"));
    }
    m_usb.results.setProperty = -4;
    EXPECT_EQ(context().setStreamFlagMode(m_device, 2), -4);
}

TEST_F(Properties, AnyOtherStreamFlagModeIsRefusedInSilence)
{
    for (const unsigned int mode : {0U, 5U, 0xffffffffU})
        EXPECT_EQ(outcome([&] { return context().setStreamFlagMode(m_device, mode); }),
                  (Outcome{-1, 0, {}}));
    EXPECT_THAT(m_usb.calls(), IsEmpty());
}

}  // namespace
}  // namespace nubrix
