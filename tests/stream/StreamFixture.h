// What the tests of sensors and streams share: an open camera of the fake driver.
#pragma once

#include <gmock/gmock.h>
#include <sys/prctl.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/ErrorNumber.h"
#include "base/xp.h"
#include "device/Device.h"
#include "stream/Sensor.h"
#include "stream/VideoStream.h"
#include "tests/fakes/FakeDriver.h"
#include "tests/fakes/LogRecorder.h"
#include "tests/fakes/SystemCalls.h"
#include "tests/fakes/Waiting.h"

namespace nubrix {

constexpr unsigned int kDepth = NUBRIX_STREAM_DEPTH;

/// A frame of no pool that knows how many references are held.
class LooseFrame final : public NubrixFrameRef {
public:
    explicit LooseFrame(unsigned int index = 0) { m_frame.frameIndex = index; }
    ~LooseFrame() override { EXPECT_EQ(m_held, 0); }

    int incRef() override { return ++m_held; }
    int release() override
    {
        const int left = --m_held;
        if (left == 0)
            m_dropped.add();
        return left;
    }
    unsigned int bufferSize() const override { return 0; }

    int held() const { return m_held; }
    /// Waits until the last reference has been dropped once more than `times` - 1 times.
    bool waitUntilDropped(int times = 1) { return m_dropped.reaches(times); }

private:
    std::atomic<int> m_held{0};
    Counter m_dropped;
};

inline std::string currentThreadName()
{
    char name[16] = {};
    prctl(PR_GET_NAME, name);
    return name;
}

/// Waits for the deadline of a pass as if it lay an hour ahead, so that a worker wakes up only when
/// it is woken.
inline int waitPatiently(pthread_cond_t *condition, pthread_mutex_t *mutex,
                         const timespec *deadline)
{
    timespec later = *deadline;
    later.tv_sec += 3600;
    return RealCalls::condTimedWait(condition, mutex, &later);
}

class StreamFixture : public testing::Test {
protected:
    StreamFixture()
    {
        m_device.open("usb:1");
        g_nubrixErrno = 0;
        m_driver.takeCalls();
        m_log.take();
    }
    ~StreamFixture() override { m_device.close(); }

    /// A frame of the driver, on this thread.
    bool deliver(unsigned int index)
    {
        FakeFrame frame;
        frame.index = index;
        return m_driver.deliver(kDepth, frame);
    }
    static std::vector<std::string> texts(const std::vector<LogLine> &lines)
    {
        std::vector<std::string> all;
        for (const LogLine &line : lines)
            all.push_back(line.text);
        return all;
    }

    LogRecorder m_log;
    FakeDriver m_driver;
    Device m_device{m_driver};
};

}  // namespace nubrix
