// What the tests of network cameras share: cameras that show a pattern, and a client.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "CameraDescription.h"
#include "SimulatedCamera.h"
#include "net/NetDriver.h"
#include "tests/drivers/TestStream.h"
#include "tests/fakes/HangGuard.h"

namespace nubrix::net {

constexpr std::uint32_t kCoord3d = 0x011000b8;
constexpr std::uint32_t kMono8 = 0x01080001;
constexpr std::uint32_t kMono10 = 0x01100003;
constexpr std::uint32_t kMono12 = 0x01100005;
constexpr std::uint32_t kMono16 = 0x01100007;
constexpr std::uint32_t kRgb8 = 0x02180014;
constexpr std::uint32_t kBgr8 = 0x02180015;
constexpr std::uint32_t kBayerRg8 = 0x01080009;
constexpr std::uint32_t kYuyv = 0x02100032;
constexpr std::uint32_t kUyvy = 0x0210001f;

/// The value of the pattern at a pixel, in units of the format; `first` is that of the first pixel.
inline unsigned int patternAt(unsigned int first, unsigned int x, unsigned int y)
{
    return first + x + 3 * y;
}

/// Fills an image with the pattern of its number.
inline void fillPattern(std::uint32_t format, std::uint32_t frame, void *data, unsigned int width,
                        unsigned int height)
{
    const unsigned int bits = format >> 16U & 0xffU;
    if (bits == 16 && format != kYuyv && format != kUyvy) {
        auto *unit = static_cast<std::uint16_t *>(data);
        for (unsigned int y = 0; y < height; ++y) {
            for (unsigned int x = 0; x < width; ++x)
                *unit++ = static_cast<std::uint16_t>(patternAt(1000 + frame % 512, x, y));
        }
        return;
    }
    auto *unit = static_cast<std::uint8_t *>(data);
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width * bits / 8; ++x)
            *unit++ = static_cast<std::uint8_t>(patternAt(frame, x, y));
    }
}

inline unsigned int unitOf(const Received &frame, std::size_t place, unsigned int bytes)
{
    const unsigned char *byte = frame.pixels.data() + place * bytes;
    return bytes == 1 ? byte[0] : static_cast<unsigned int>(byte[0] | byte[1] << 8U);
}

/// How many frames do not show the image of their index, counted from the first frame.
inline int wrongFrames(const std::vector<Received> &frames, unsigned int unitBytes)
{
    const auto isWrong = [&](const Received &frame) {
        const unsigned int since = frame.record.frameIndex - frames.front().record.frameIndex;
        const unsigned int shown =
            unitOf(frame, 0, unitBytes) - unitOf(frames.front(), 0, unitBytes);
        return (shown - since) % (unitBytes == 1 ? 256 : 512) != 0;
    };
    return static_cast<int>(std::count_if(frames.begin(), frames.end(), isWrong));
}

/// How many units of a frame differ from the pattern.
inline int wrongUnits(const Received &frame, unsigned int unitBytes)
{
    const unsigned int mask = unitBytes == 1 ? 0xff : 0xffff;
    const unsigned int first = unitOf(frame, 0, unitBytes);
    const unsigned int height = frame.record.height;
    const auto row = static_cast<unsigned int>(frame.pixels.size() / unitBytes / height);
    int wrong = 0;
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < row; ++x) {
            const unsigned int shown = unitOf(frame, std::size_t{y} * row + x, unitBytes);
            wrong += shown != (patternAt(first, x, y) & mask) ? 1 : 0;
        }
    }
    return wrong;
}

/// A camera that is closed at the end; the driver must outlive it.
class OpenCamera {
public:
    OpenCamera(NubrixBaseDriver &driver, const std::string &uri) : m_driver(driver)
    {
        EXPECT_EQ(driver.openDevice(uri.c_str(), &m_device), 0);
    }
    ~OpenCamera()
    {
        if (m_device != nullptr) {
            EXPECT_EQ(m_driver.closeDevice(&m_device), 0);
        }
    }
    OpenCamera(const OpenCamera &) = delete;
    OpenCamera &operator=(const OpenCamera &) = delete;

    explicit operator bool() const { return m_device != nullptr; }
    NubrixBaseDevice &operator*() const { return *m_device; }
    NubrixBaseDevice *operator->() const { return m_device; }

private:
    NubrixBaseDriver &m_driver;
    NubrixBaseDevice *m_device = nullptr;
};

/// The depth of a camera that streams.
struct Streaming {
    explicit Streaming(NubrixBaseDriver &driver, const std::string &address = "127.0.0.1")
        : device(driver, "net:" + address), stream(*device, NUBRIX_STREAM_DEPTH)
    {
        EXPECT_EQ(stream.start(), 0);
        EXPECT_TRUE(stream.sink().await(3));
    }

    const OpenCamera device;
    PixelStream stream;
};

/// An integer feature of the camera; -1 when it cannot be read.
inline std::int64_t integerOf(NubrixBaseDevice &device, const std::string &name)
{
    std::vector<unsigned char> request = {0, 0, static_cast<unsigned char>(name.size()), 0};
    request.insert(request.end(), name.begin(), name.end());
    std::int64_t value = -1;
    unsigned int size = sizeof value;
    const int status = device.propertyTranspraentTransmission(
        request.data(), static_cast<unsigned int>(request.size()),
        reinterpret_cast<unsigned char *>(&value), &size);
    return status == 0 ? value : -1;
}

/// Collects hot-plug events. Thread-safe.
class Events {
public:
    static void take(const char *uri, const char *serial, const char * /*location*/,
                     unsigned int state, void *events)
    {
        auto *self = static_cast<Events *>(events);
        const std::lock_guard<std::mutex> lock(self->m_lock);
        self->m_events.push_back(std::string(state == NUBRIX_DEVICE_CONNECTED ? "+" : "-") + uri +
                                 " " + serial);
        self->m_changed.notify_all();
    }
    /// The first events once there are so many; fewer after the deadline.
    std::vector<std::string> await(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_changed.wait_for(lock, kDeadline, [&] { return m_events.size() >= count; });
        return m_events;
    }
    std::vector<std::string> soFar()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_events;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<std::string> m_events;  // under m_lock
};

/// Replaces parts of a camera's description. Fails the test when one is not in it exactly once.
inline void redescribe(simulator::SimulatedCameraSettings &settings,
                       const std::vector<std::pair<std::string, std::string>> &parts)
{
    settings.description = describeCamera(settings);
    for (const auto &[from, to] : parts) {
        const std::size_t place = settings.description.find(from);
        ASSERT_NE(place, std::string::npos) << from;
        settings.description.replace(place, from.size(), to);
        ASSERT_EQ(settings.description.find(from, place + to.size()), std::string::npos) << from;
    }
}

/// A network of its own with cameras and a driver.
class NetTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (const char *reason = std::getenv("NUBRIX_NO_NETWORK"))
            GTEST_SKIP() << "no network of one's own here: " << reason;
        m_ini = testing::TempDir() + "nubrixNet." + std::to_string(getpid()) + ".ini";
        std::ofstream(m_ini) << "[network]\n";
    }
    void TearDown() override
    {
        m_driver.reset();
        if (!m_ini.empty())
            std::remove(m_ini.c_str());
    }

    using SimulatedCamera = simulator::SimulatedCamera;
    using SimulatedCameraSettings = simulator::SimulatedCameraSettings;

    static SimulatedCameraSettings depthCamera(const std::string &address = "127.0.0.1")
    {
        SimulatedCameraSettings settings;
        settings.address = address;
        settings.serial = "N" + address.substr(address.rfind('.') + 1);
        settings.formats = {kCoord3d, kMono16, kRgb8};
        return settings;
    }
    static std::unique_ptr<SimulatedCamera> serve(const SimulatedCameraSettings &settings)
    {
        return std::make_unique<SimulatedCamera>(settings, &fillPattern);
    }

    void write(const std::string &ini) { std::ofstream(m_ini) << ini; }
    NetDriver &driver()
    {
        if (!m_driver) {
            m_driver = std::make_unique<NetDriver>(std::vector{m_ini});
            m_driver->setDeviceStateCallback(&Events::take, &m_events);
            EXPECT_EQ(m_driver->initialize(), 0);
        }
        return *m_driver;
    }
    std::vector<typedefNubrixeviceAttribute> list()
    {
        std::vector<typedefNubrixeviceAttribute> records(60);
        unsigned int count = 60;
        EXPECT_EQ(driver().getDeviceList(records.data(), &count), 0);
        records.resize(count);
        return records;
    }
    /// The list once it has so many records; fewer after the deadline.
    std::vector<typedefNubrixeviceAttribute> awaitListed(std::size_t count)
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        auto records = list();
        while (records.size() < count && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            records = list();
        }
        return records;
    }
    OpenCamera open(const std::string &uri = "net:127.0.0.1") { return {driver(), uri}; }

    template <class Call>
    static std::chrono::milliseconds durationOf(Call call)
    {
        const auto begin = std::chrono::steady_clock::now();
        call();
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - begin);
    }
    /// The threads of this process whose names begin so; one that was joined may be listed a moment
    /// longer.
    static int threadsOf(const std::string &name)
    {
        int count = 0;
        for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
            std::string own;
            std::getline(std::ifstream(task.path() / "comm"), own);
            count += own.rfind(name, 0) == 0 ? 1 : 0;
        }
        return count;
    }
    static bool hasNoThreads(const std::string &name = "nubrix-net")
    {
        return eventually([&] { return threadsOf(name) == 0; });
    }

    std::string m_ini;
    Events m_events;
    std::unique_ptr<NetDriver> m_driver;
};

}  // namespace nubrix::net
