// A device on fake nodes, and a stream of it with a pool and a receiver.
#pragma once

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/drivers/TestStream.h"
#include "tests/drivers/uvc/FakeNode.h"
#include "uvc/NodeWorker.h"
#include "uvc/UvcDevice.h"

namespace nubrix::uvc {

/// A format of the usual cameras of the tests, with small images.
inline FakeCamera::Format formatOf(std::uint32_t code)
{
    return {code, {{64, 48, {30, 15}}, {32, 24, {30}}}};
}

/// For calls that no deadline may end, however busy the machine is.
constexpr std::chrono::hours kUnhurried{1};

class UvcDeviceTest : public testing::Test {
protected:
    /// Adds a node of the camera, to be described before open.
    FakeCamera &addNode(const std::vector<std::uint32_t> &codes)
    {
        m_cameras.push_back(std::make_unique<FakeCamera>());
        for (const std::uint32_t code : codes)
            m_cameras.back()->formats.push_back(formatOf(code));
        return *m_cameras.back();
    }

    NodeOpener opener()
    {
        return [this](const std::string &path, std::unique_ptr<NodeIo> &node) {
            if (const auto error = openErrors.find(path); error != openErrors.end())
                return error->second;
            if (const auto opening = beforeOpen.find(path); opening != beforeOpen.end())
                opening->second();
            node = std::make_unique<FakeNode>(*m_cameras[std::stoul(path)]);
            return 0;
        };
    }

    int tryOpen()
    {
        std::vector<std::string> paths;
        for (std::size_t i = 0; i < m_cameras.size(); ++i)
            paths.push_back(std::to_string(i));
        return UvcDevice::open("usb:1-2", usb, paths, opener(), *m_threads, m_device);
    }

    UvcDevice &open()
    {
        EXPECT_EQ(tryOpen(), 0);
        return *m_device;
    }

    void close() { m_device.reset(); }
    /// Uses the deadlines of the driver from now on.
    void keepDeadlines() { m_unhurried.reset(); }
    /// Does what the destruction of the driver does.
    void joinThreads() { m_threads.reset(); }
    void renewThreads() { m_threads = std::make_unique<DriverThreads>(); }
    /// Removes the nodes of a closed camera.
    void removeNodes() { m_cameras.clear(); }

    UsbIdentity usb;
    std::map<std::string, int> openErrors;                    // these two: by path
    std::map<std::string, std::function<void()>> beforeOpen;  // run before a node is open

private:
    std::vector<std::unique_ptr<FakeCamera>> m_cameras;
    std::unique_ptr<CallDeadline> m_unhurried = std::make_unique<CallDeadline>(kUnhurried);
    std::unique_ptr<DriverThreads> m_threads = std::make_unique<DriverThreads>();
    std::unique_ptr<UvcDevice> m_device;
};

inline StreamCounters countersOf(UvcDevice &device, unsigned int streamType)
{
    StreamCounters counters = {};
    unsigned int size = sizeof counters;
    EXPECT_EQ(device.getProperty(NUBRIX_PROPERTY_STREAM_COUNTERS + streamType, &counters, &size),
              0);
    return counters;
}

/// Waits until the stream has dropped or delivered this many frames.
inline bool awaitCount(UvcDevice &device, unsigned int streamType, unsigned int frames)
{
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (std::chrono::steady_clock::now() < end) {
        const StreamCounters now = countersOf(device, streamType);
        if (now.delivered + now.held + now.unusable >= frames)
            return true;
        std::this_thread::yield();
    }
    return false;
}

}  // namespace nubrix::uvc
