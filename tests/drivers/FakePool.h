// A pool and a receiver of frames, for tests of a driver's streams without the library.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include "nubrix/driver.h"

namespace nubrix {

/// How long a test waits for something that must happen.
constexpr std::chrono::seconds kDeadline{60};

/// Hands out up to `limit` frames at a time; the last release of a frame returns it. Thread-safe.
class FakePool final : public FrameAllocatorInterfaceBase {
public:
    explicit FakePool(unsigned int frameBufferSize, int limit = 10)
        : m_size(frameBufferSize), m_limit(limit)
    {
    }

    NubrixFrameRef *allocOneFrame() override;
    unsigned int getFrameBufferSize() const override { return m_size; }
    void setFrameBufferSize(unsigned int size) override { m_size = size; }

    int inUse() const
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_inUse;
    }
    /// Waits until `count` frames have been handed out; false after the deadline.
    bool awaitHandedOut(int count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, kDeadline, [&] { return m_handedOut >= count; });
    }
    /// Waits until `count` requests have been refused; false after the deadline.
    bool awaitRefused(int count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, kDeadline, [&] { return m_refused >= count; });
    }

private:
    class Frame;

    unsigned int m_size;
    const int m_limit;
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    int m_inUse = 0;  // everything below is under m_lock
    int m_handedOut = 0;
    int m_refused = 0;
};

class FakePool::Frame final : public NubrixFrameRef {
public:
    Frame(FakePool &pool, unsigned int size) : m_pool(pool), m_size(size)
    {
        m_frame.data = size == 0 ? nullptr : std::calloc(1, size);
    }

    int release() override
    {
        FakePool &pool = m_pool;
        const int left = NubrixFrameRef::release();
        if (left == 0) {
            const std::lock_guard<std::mutex> lock(pool.m_lock);
            --pool.m_inUse;
        }
        return left;
    }

    unsigned int bufferSize() const override { return m_size; }

private:
    FakePool &m_pool;
    const unsigned int m_size;
};

inline NubrixFrameRef *FakePool::allocOneFrame()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_inUse >= m_limit) {
        ++m_refused;
        m_changed.notify_all();
        return nullptr;
    }
    ++m_inUse;
    ++m_handedOut;
    m_changed.notify_all();
    auto *frame = new Frame(*this, m_size);
    frame->incRef();
    return frame;
}

/// One delivered frame: its record, and its pixels if FrameSink::keepPixels is set.
struct Received {
    typedefNubrixFrame record;
    std::vector<unsigned char> pixels;
    std::chrono::steady_clock::time_point arrival;
};

/// Collects delivered frames. Thread-safe.
class FrameSink {
public:
    bool keepPixels = false;                        // set before the start
    std::function<void(NubrixFrameRef *)> onFrame;  // set before the start

    static void receive(NubrixFrameRef *frame, void *user)
    {
        static_cast<FrameSink *>(user)->take(frame);
    }

    /// Waits until `count` frames have arrived; false after the deadline.
    bool await(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_arrived.wait_for(lock, kDeadline, [&] { return m_frames.size() >= count; });
    }

    std::vector<Received> frames() const
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_frames;
    }
    std::size_t count() const
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_frames.size();
    }
    std::vector<unsigned int> indices() const
    {
        std::vector<unsigned int> all;
        for (const Received &frame : frames())
            all.push_back(frame.record.frameIndex);
        return all;
    }
    void clear()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_frames.clear();
    }
    /// A stream is started: total() counts from here on, whatever clear() does. Returns the total
    /// before.
    unsigned int begin()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return std::exchange(m_total, 0U);
    }
    /// The start has failed.
    void cancelBegin(unsigned int before)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_total = before;
    }
    unsigned int total() const
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_total;
    }

private:
    void take(NubrixFrameRef *frame)
    {
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            ++m_total;  // before onFrame, which may start the stream again
        }
        Received received{frame->frame(), {}, std::chrono::steady_clock::now()};
        if (keepPixels) {
            const auto *data = static_cast<const unsigned char *>(received.record.data);
            received.pixels.assign(data, data + received.record.dataSize);
        }
        if (onFrame)
            onFrame(frame);
        const std::lock_guard<std::mutex> lock(m_lock);
        m_frames.push_back(std::move(received));
        m_arrived.notify_all();
    }

    mutable std::mutex m_lock;
    std::condition_variable m_arrived;
    std::vector<Received> m_frames;  // under m_lock, as is the next
    unsigned int m_total = 0;
};

}  // namespace nubrix
