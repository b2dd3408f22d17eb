// The three conversions of the context.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "base/ErrorNumber.h"
#include "base/LogCall.h"
#include "context/Context.h"
#include "device/Device.h"
#include "tests/cloud/CloudImages.h"

namespace nubrix {

namespace {

constexpr CloudCamera kCamera = {500, 600, 700, 80, 90};

std::vector<std::string> g_lines;
void (*g_onLine)(const std::string &line) = nullptr;

int onLine(const char *, int level, const char *text)
{
    g_lines.push_back(std::to_string(level) + " " + text);
    if (g_onLine)
        g_onLine(g_lines.back());
    return 0;
}

class PointCloudContextTest : public testing::Test {
protected:
    PointCloudContextTest()
    {
        setLogSink({&onLine, nullptr}, "test");
        setErrorNumber(0);
        g_lines.clear();
    }
    ~PointCloudContextTest() override
    {
        m_context.destroy();
        setLogSink({}, nullptr);
    }

    NubrixDevice *openCamera()
    {
        NubrixDevice *device = nullptr;
        EXPECT_EQ(m_context.initialize(), 0);
        EXPECT_EQ(m_context.openDevice("usb:cloud", &device), 0);
        EXPECT_NE(device, nullptr) << "is the driver next to the test?";
        g_lines.clear();
        return device;
    }
    int convertByDevice(NubrixDevice *device, typedefNubrixPoint3D *points)
    {
        const unsigned short depth = 77;
        return m_context.convertDepthToPointCloud2(device, &depth, 3, 5, 1.5F, 2.5F, 3.5F, 4.5F,
                                                   5.5F, points, 9, true);
    }

    Context m_context;
};

TEST_F(PointCloudContextTest, TheLibrarysConversionNeedsNoInitialize)
{
    const DepthImage image = randomImage(70, 4, 1);
    CloudBuffers ours(image.pixels.size());
    CloudBuffers expected(image.pixels.size());
    EXPECT_EQ(m_context.convertDepthToPointCloud(image.pixels.data(), 70, 4, kCamera.s, kCamera.fx,
                                                 kCamera.fy, kCamera.cx, kCamera.cy, ours.points(),
                                                 2, true),
              0);
    convertToPointCloud(image.pixels.data(), 70, 4, kCamera, expected.points(), 2, true);
    EXPECT_EQ(ours.differenceFrom(expected), "");
    EXPECT_THAT(g_lines, testing::IsEmpty());
    EXPECT_EQ(g_nubrixErrno, 0U);
}

TEST_F(PointCloudContextTest, AnImageWithoutRowsIsASuccess)
{
    EXPECT_EQ(m_context.convertDepthToPointCloud(nullptr, 640, 0, 1, 1, 1, 1, 1, nullptr, 1, true),
              0);
    EXPECT_EQ(m_context.convertDepthToPointCloudWithRGBA(nullptr, 640, 0, 1, 1, 1, 1, 1, nullptr,
                                                         nullptr, 1, true),
              0);
}

TEST_F(PointCloudContextTest, WithColoursOnlyTheScaleOfTheCallersCameraCounts)
{
    const DepthImage image = randomImage(70, 5, 2);
    CloudBuffers ours(image.pixels.size());
    CloudBuffers expected(image.pixels.size());
    for (const bool limitRange : {false, true}) {
        EXPECT_EQ(m_context.convertDepthToPointCloudWithRGBA(image.pixels.data(), 70, 5, 250, 0, -1,
                                                             0, 1e30F, ours.points(),
                                                             ours.colours(), 1, limitRange),
                  0);
        convertToPointCloudWithColours(image.pixels.data(), 70, 5, 250, expected.points(),
                                       expected.colours(), 1);
        EXPECT_EQ(ours.differenceFrom(expected), "");
    }
    EXPECT_EQ(g_nubrixErrno, 0U);
}

TEST_F(PointCloudContextTest, TheDevicesConversionIsTheDrivers)
{
    NubrixDevice *const device = openCamera();
    typedefNubrixPoint3D points[3] = {};
    EXPECT_EQ(convertByDevice(device, points), -77) << "what the driver answers, unchanged";
    const float *const arguments = &points[0].x;
    EXPECT_THAT(std::vector<float>(arguments, arguments + 9),
                testing::ElementsAre(3, 5, 1.5F, 2.5F, 3.5F, 4.5F, 5.5F, 9, 1));
    EXPECT_THAT(g_lines, testing::IsEmpty());
    EXPECT_EQ(g_nubrixErrno, 0U);
}

TEST_F(PointCloudContextTest, TheDevicesConversionNeedsAnInitializedContext)
{
    EXPECT_EQ(convertByDevice(nullptr, nullptr), -2);
    EXPECT_EQ(g_nubrixErrno, 0x80300101U);
    EXPECT_THAT(g_lines, testing::ElementsAre("3 not Initialized! "));
}

TEST_F(PointCloudContextTest, TheDevicesConversionNeedsAnOpenDevice)
{
    NubrixDevice *const device = openCamera();
    EXPECT_EQ(m_context.closeDevice(device), 0);
    for (NubrixDevice *const handle : {device, static_cast<NubrixDevice *>(nullptr)}) {
        setErrorNumber(0);
        g_lines.clear();
        EXPECT_EQ(convertByDevice(handle, nullptr), -3);
        EXPECT_EQ(g_nubrixErrno, 0x80300102U);
        EXPECT_THAT(g_lines, testing::ElementsAre("3 Invalid Device!"));
    }
}

Context *g_initializing = nullptr;
std::future<int> g_refused;
std::future_status g_waited = std::future_status::deferred;

TEST_F(PointCloudContextTest, WithoutAContextNobodyWaitsForTheOneThatIsInitializing)
{
    g_initializing = &m_context;
    // Initialize logs this while it holds the API lock.
    g_onLine = [](const std::string &line) {
        if (line != "4 Load uvc driver succeed!")
            return;
        g_onLine = nullptr;
        g_refused = std::async(std::launch::async, [] {
            return g_initializing->convertDepthToPointCloud2(nullptr, nullptr, 0, 0, 1, 1, 1, 1, 1,
                                                             nullptr, 1, false);
        });
        g_waited = g_refused.wait_for(std::chrono::seconds(30));
    };
    EXPECT_EQ(m_context.initialize(), 0);
    ASSERT_TRUE(g_refused.valid());
    EXPECT_EQ(g_waited, std::future_status::ready);
    EXPECT_EQ(g_refused.get(), -2);
}

TEST(PointCloudDevice, ADeviceWithoutADriversDeviceConvertsNothingAndSucceeds)
{
    class NoDriver final : public NubrixBaseDriver {
        int initialize() override { return 0; }
        int setDeviceStateCallback(DriverStateCallback, void *) override { return 0; }
        int getDeviceList(typedefNubrixeviceAttribute *, unsigned int *) override { return 0; }
        int openDevice(const char *, NubrixBaseDevice **) override { return -1; }
        int closeDevice(NubrixBaseDevice **) override { return 0; }
    } driver;
    Device device(driver);
    const unsigned short depth = 77;
    typedefNubrixPoint3D point = {-1, -1, -1};
    EXPECT_EQ(device.convertDepthToPointCloud2(&depth, 1, 1, 1, 1, 1, 1, 1, &point, 1, false), 0);
    EXPECT_EQ(point.z, -1);
}

}  // namespace

}  // namespace nubrix
