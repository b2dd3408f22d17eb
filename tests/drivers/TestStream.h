// Streams of a driver's device, each with its own pool and receiver.
#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "tests/drivers/FakePool.h"

namespace nubrix {

/// The device must outlive it. Fails the test when the device does not destroy the stream, when a
/// frame has not been returned to the pool by then, or when the driver has counted other frames
/// than those that arrived since the last start.
class TestStream {
public:
    TestStream(NubrixBaseDevice &device, unsigned int type, int poolLimit = 10)
        : m_device(device),
          m_type(type),
          m_pool(0, poolLimit),
          m_created(device.createStream(type, &m_stream))
    {
    }
    ~TestStream()
    {
        if (m_stream == nullptr)
            return;
        EXPECT_TRUE(countsMatch());
        EXPECT_EQ(m_device.destroyStream(&m_stream), 0);
        EXPECT_EQ(m_stream, nullptr);
        EXPECT_EQ(m_pool.inUse(), 0);
    }
    TestStream(const TestStream &) = delete;
    TestStream &operator=(const TestStream &) = delete;

    /// What createStream returned.
    int created() const { return m_created; }
    /// Prepares the stream as the library does before each start, then starts it. Returns the
    /// status of createStream if that failed, otherwise the status of start.
    int start()
    {
        if (m_stream == nullptr)
            return m_created;
        EXPECT_EQ(m_stream->setFrameCallback(&FrameSink::receive, &m_sink), 0);
        m_pool.setFrameBufferSize(m_stream->getFrameBufferSize());
        EXPECT_EQ(m_stream->setFrameAllocator(&m_pool), 0);
        const unsigned int before = m_sink.begin();
        const int status = m_stream->start();
        if (status != 0) {  // before or after the driver cleared its counters
            const unsigned int counted = counters().delivered;
            EXPECT_TRUE(counted == 0 || counted == before);
            m_sink.cancelBegin(counted);
        }
        return status;
    }
    int stop() { return m_stream->stop(); }

    NubrixBaseStream *operator->() { return m_stream; }
    FrameSink &sink() { return m_sink; }
    FakePool &pool() { return m_pool; }

    /// What the driver counts.
    NubrixStreamCounters counters() const
    {
        NubrixStreamCounters counters = {};
        unsigned int size = sizeof counters;
        EXPECT_EQ(m_device.getProperty(NUBRIX_PROPERTY_STREAM_COUNTERS + m_type, &counters, &size),
                  0);
        return counters;
    }

private:
    /// A running stream has counted a frame a moment before it arrives.
    bool countsMatch() const
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (std::chrono::steady_clock::now() < end) {
            const unsigned int before = counters().delivered;
            if (before == m_sink.total() && before == counters().delivered)
                return true;
            std::this_thread::yield();
        }
        return false;
    }

    NubrixBaseDevice &m_device;
    const unsigned int m_type;
    FakePool m_pool;
    FrameSink m_sink;
    NubrixBaseStream *m_stream = nullptr;
    int m_created;
};

/// A stream that keeps the pixels of its frames.
class PixelStream final : public TestStream {
public:
    PixelStream(NubrixBaseDevice &device, unsigned int type, int poolLimit = 10)
        : TestStream(device, type, poolLimit)
    {
        sink().keepPixels = true;
    }
};

}  // namespace nubrix
