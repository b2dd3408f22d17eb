// What a frame callback may do to its own stream and its own camera.
#include <linux/videodev2.h>

#include <future>

#include "tests/drivers/uvc/UvcDeviceFixture.h"
#include "uvc/UvcStream.h"

namespace nubrix::uvc {
namespace {

class UvcStreamWithinTest : public UvcDeviceTest {
protected:
    /// Opens a camera and calls `act` once, within the first callback of a depth stream.
    void begin(std::function<void()> act)
    {
        m_camera = &addNode({V4L2_PIX_FMT_Z16, V4L2_PIX_FMT_YUYV});
        m_device = &open();
        ASSERT_EQ(m_device->createStream(NUBRIX_STREAM_DEPTH, &m_stream), 0);
        m_sink.onFrame = [this, act](NubrixFrameRef *) {
            act();
            m_acted.set_value();
            m_mayReturn.get_future().wait();
            m_returned = true;
        };
        start();
        capture(2);  // one more than is delivered
        ASSERT_EQ(m_acted.get_future().wait_for(kDeadline), std::future_status::ready);
    }
    void start()
    {
        m_pool.setFrameBufferSize(m_stream->getFrameBufferSize());
        m_stream->setFrameAllocator(&m_pool);
        m_stream->setFrameCallback(&FrameSink::receive, &m_sink);
        ASSERT_EQ(m_stream->start(), 0);
    }
    void capture(int frames)
    {
        for (int i = 0; i < frames; ++i)
            m_camera->captureAll(1);
    }
    void letReturn() { m_mayReturn.set_value(); }
    /// Nothing uses the thread, the buffers or the frames of the stream any more.
    void expectNothingLeft()
    {
        EXPECT_TRUE(m_returned);
        EXPECT_EQ(m_sink.count(), 1U);
        EXPECT_EQ(m_pool.inUse(), 0);
        EXPECT_EQ(m_camera->buffers(), 0U);
    }

    FakeCamera *m_camera = nullptr;
    UvcDevice *m_device = nullptr;
    NubrixBaseStream *m_stream = nullptr;
    FakePool m_pool{0};
    FrameSink m_sink;
    std::promise<void> m_acted;
    std::promise<void> m_mayReturn;
    std::atomic<bool> m_returned{false};
};

TEST_F(UvcStreamWithinTest, StoppingStopsAtOnceAndCallsBackNoMore)
{
    int status = -1;
    begin([&] { status = m_stream->stop(); });
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(m_camera->isStreaming());
    EXPECT_EQ(m_camera->buffers(), 0U);
    letReturn();
    EXPECT_EQ(m_stream->stop(), 0);
    expectNothingLeft();
    close();
}

TEST_F(UvcStreamWithinTest, AStreamThatWasStoppedIsStartedAgain)
{
    int again = 0;
    begin([&] {
        m_stream->stop();
        again = m_stream->start();
    });
    EXPECT_EQ(again, -2);
    letReturn();
    // start waits for the previous thread.
    EXPECT_EQ(m_stream->setFrameCallback(&FrameSink::receive, &m_sink), 0);
    ASSERT_EQ(m_stream->start(), 0);
    EXPECT_TRUE(m_returned);
    m_sink.onFrame = nullptr;
    capture(1);
    EXPECT_TRUE(m_sink.await(2));
    EXPECT_EQ(m_stream->stop(), 0);
    EXPECT_EQ(m_pool.inUse(), 0);
    close();
}

TEST_F(UvcStreamWithinTest, DestroyingFreesTheNodeAtOnceAndClosingWaitsForTheCallback)
{
    int status = -1;
    begin([&] { status = m_device->destroyStream(&m_stream); });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(m_stream, nullptr);
    {
        TestStream other(*m_device, NUBRIX_STREAM_COLOR);
        EXPECT_EQ(other.start(), 0);
        TestStream same(*m_device, NUBRIX_STREAM_DEPTH);
        EXPECT_EQ(same.created(), 0);
    }
    auto closed = std::async(std::launch::async, [this] {
        close();
        return m_returned.load();
    });
    letReturn();
    ASSERT_EQ(closed.wait_for(kDeadline), std::future_status::ready);
    EXPECT_TRUE(closed.get());
    expectNothingLeft();
}

TEST_F(UvcStreamWithinTest, ClosingTheCameraEndsItAndTheThreadIsJoinedLater)
{
    begin([&] { close(); });
    EXPECT_FALSE(m_camera->isStreaming());
    letReturn();
    joinThreads();
    expectNothingLeft();
}

TEST_F(UvcStreamWithinTest, ClosingAllStreamsEndsTheOwnOneToo)
{
    int status = -1;
    begin([&] { status = m_device->closeAllStreams(); });
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(m_camera->isStreaming());
    letReturn();
    close();
    expectNothingLeft();
}

}  // namespace
}  // namespace nubrix::uvc
