// Streams and cameras that end from within frame callbacks, or without memory.
#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <memory>
#include <utility>

#include "net/GvcpProbe.h"
#include "tests/drivers/net/NetFixture.h"
#include "tests/fakes/FailingNew.h"

namespace nubrix {
namespace {

using testing::HasSubstr;

/// Ends streams from within their frame callbacks. A test waits for the callback to end it and then
/// for its return, after which the driver may still hold frames for a moment.
class NetStreamEndTest : public NetTest {
protected:
    void SetUp() override
    {
        NetTest::SetUp();
        if (IsSkipped())
            return;
        m_camera = serve(depthCamera());
        ASSERT_EQ(driver().openDevice("net:127.0.0.1", &m_device), 0);
        ASSERT_EQ(m_device->createStream(NUBRIX_STREAM_DEPTH, &m_stream), 0);
    }
    void TearDown() override
    {
        if (m_device != nullptr)
            driver().closeDevice(&m_device);
        NetTest::TearDown();
        EXPECT_EQ(m_pool.inUse(), 0);
        m_camera.reset();
    }
    void startWith(std::function<void()> inCallback)
    {
        m_sink.onFrame = [this, run = std::move(inCallback)](NubrixFrameRef *) {
            ++m_calls;
            run();
        };
        m_pool.setFrameBufferSize(m_stream->getFrameBufferSize());
        ASSERT_EQ(m_stream->setFrameAllocator(&m_pool), 0);
        ASSERT_EQ(m_stream->setFrameCallback(&FrameSink::receive, &m_sink), 0);
        ASSERT_EQ(m_stream->start(), 0);
        ASSERT_TRUE(m_sink.await(1));
    }

    std::unique_ptr<SimulatedCamera> m_camera;
    FakePool m_pool{0};
    FrameSink m_sink;
    std::atomic<int> m_calls{0};
    std::atomic<int> m_status{-100};
    NubrixBaseDevice *m_device = nullptr;
    NubrixBaseStream *m_stream = nullptr;
};

TEST_F(NetStreamEndTest, AStreamStopsFromWithinItsCallback)
{
    startWith([&] {
        m_status = m_stream->stop();
        EXPECT_EQ(m_stream->start(), -2);  // what it runs in has not ended
    });
    EXPECT_EQ(m_status, 0);
    m_sink.onFrame = nullptr;
    m_sink.clear();
    ASSERT_TRUE(eventually([&] { return m_stream->start() == 0; }));  // the callback has returned
    EXPECT_TRUE(m_sink.await(2));
    EXPECT_EQ(m_calls, 1);
    EXPECT_EQ(m_stream->stop(), 0);
}

TEST_F(NetStreamEndTest, WithoutMemoryAStreamIsDestroyedFromWithinItsCallbackAllTheSame)
{
    bool hasFailed = true;
    for (int index = 0; hasFailed; ++index) {
        m_sink.clear();
        if (m_stream == nullptr) {
            ASSERT_EQ(m_device->createStream(NUBRIX_STREAM_DEPTH, &m_stream), 0);
        }
        startWith([&] {
            const FailingNew failing(index);
            m_status = m_device->destroyStream(&m_stream);
            hasFailed = failing.hasFailed();
        });
        EXPECT_EQ(m_status, 0);
        EXPECT_TRUE(eventually([&] { return m_pool.inUse() == 0; }));
    }
}

TEST_F(NetStreamEndTest, WithoutMemoryACameraIsReleasedAllTheSame)
{
    bool hasFailed = true;
    for (int index = 0; hasFailed; ++index) {
        if (m_device == nullptr) {
            ASSERT_EQ(driver().openDevice("net:127.0.0.1", &m_device), 0);
        }
        {
            const FailingNew failing(index);
            m_status = driver().closeDevice(&m_device);
            hasFailed = failing.hasFailed();
        }
        EXPECT_EQ(m_status, 0);
        EXPECT_TRUE(canTakeControl("127.0.0.1")) << index;
    }
}

TEST_F(NetStreamEndTest, WithoutMemoryAStreamDoesNotStartAndKeepsNothing)
{
    m_pool.setFrameBufferSize(m_stream->getFrameBufferSize());
    ASSERT_EQ(m_stream->setFrameAllocator(&m_pool), 0);
    ASSERT_EQ(m_stream->setFrameCallback(&FrameSink::receive, &m_sink), 0);
    testing::internal::CaptureStderr();
    bool hasFailed = true;
    int starts = 0;
    for (; hasFailed; ++starts) {
        {
            const FailingNew failing(starts);
            EXPECT_NO_THROW(m_status = m_stream->start());
            hasFailed = failing.hasFailed();
        }
        EXPECT_EQ(m_status, hasFailed ? -1 : 0);
        EXPECT_EQ(m_stream->stop(), 0);
    }
    EXPECT_GT(starts, 5);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("starting a stream of a network camera failed: std::bad_alloc"));
}

TEST_F(NetStreamEndTest, WithoutMemoryACameraIsNotOpened)
{
    ASSERT_EQ(driver().closeDevice(&m_device), 0);
    testing::internal::CaptureStderr();
    const int failures = failEachAllocation(
        [&] {
            EXPECT_NO_THROW(m_status = driver().openDevice("net:127.0.0.1", &m_device));
            if (m_device != nullptr) {
                EXPECT_EQ(driver().closeDevice(&m_device), 0);
            }
        },
        [&] { EXPECT_NE(m_status, 0); });
    EXPECT_GT(failures, 5);
    EXPECT_EQ(m_status, 0);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("opening a network camera failed: std::bad_alloc"));
}

TEST_F(NetStreamEndTest, AStreamIsDestroyedFromWithinItsCallback)
{
    startWith([&] { m_status = m_device->destroyStream(&m_stream); });
    EXPECT_EQ(m_status, 0);
    EXPECT_EQ(m_stream, nullptr);
    EXPECT_EQ(driver().closeDevice(&m_device), 0);
    EXPECT_EQ(m_calls, 1);
    EXPECT_EQ(m_pool.inUse(), 0);
}

TEST_F(NetStreamEndTest, AllStreamsAreClosedFromWithinACallback)
{
    startWith([&] { m_status = m_device->closeAllStreams(); });
    EXPECT_EQ(m_status, 0);
    EXPECT_EQ(driver().closeDevice(&m_device), 0);
    EXPECT_EQ(m_calls, 1);
}

TEST_F(NetStreamEndTest, ACameraIsClosedFromWithinItsCallbackAndOpenedAgain)
{
    startWith([&] { m_status = driver().closeDevice(&m_device); });
    EXPECT_EQ(m_status, 0);
    EXPECT_EQ(m_device, nullptr);
    ASSERT_EQ(driver().openDevice("net:127.0.0.1", &m_device), 0);
    EXPECT_EQ(m_calls, 1);
}

TEST_F(NetStreamEndTest, ADriverJoinsACameraThatIsClosedFromWithinACallbackThatRuns)
{
    std::promise<void> closed;
    std::promise<void> returns;
    m_sink.onFrame = [&](NubrixFrameRef *) {
        m_status = m_device->destroyStream(&m_stream);
        m_status = m_status + driver().closeDevice(&m_device);
        closed.set_value();
        returns.get_future().wait();
        ++m_calls;
    };
    m_pool.setFrameBufferSize(m_stream->getFrameBufferSize());
    ASSERT_EQ(m_stream->setFrameAllocator(&m_pool), 0);
    ASSERT_EQ(m_stream->setFrameCallback(&FrameSink::receive, &m_sink), 0);
    ASSERT_EQ(m_stream->start(), 0);
    ASSERT_EQ(closed.get_future().wait_for(kDeadline), std::future_status::ready);
    auto destroyed = std::async(std::launch::async, [&] { m_driver.reset(); });
    returns.set_value();
    ASSERT_EQ(destroyed.wait_for(kDeadline), std::future_status::ready);
    EXPECT_EQ(m_status, 0);
    EXPECT_EQ(m_calls, 1);
    EXPECT_EQ(m_pool.inUse(), 0);
}

}  // namespace
}  // namespace nubrix
