// Where a stream counts its frames: every way that a frame can go, and what the application holds.
#include "stream/StreamLedger.h"

#include <gmock/gmock.h>

#include <cstring>
#include <thread>
#include <vector>

#include "base/Clock.h"
#include "tests/LedgerCheck.h"
#include "tests/fakes/FailingNew.h"
#include "tests/fakes/HangGuard.h"
#include "tests/stream/VideoStreamFixture.h"

namespace nubrix {
namespace {

class StreamLedgerTest : public VideoStreamFixture {
protected:
    ~StreamLedgerTest() override { releaseAll(); }

    NubrixStreamLedger ledger()
    {
        const NubrixStreamLedger figures = m_stream->ledger();
        EXPECT_EQ(ledgerFault(figures), "");
        return figures;
    }
    void deliverAll(unsigned int count)
    {
        for (unsigned int i = 0; i < count; ++i)
            ASSERT_TRUE(deliver(i));
    }
    /// Reads as the application does: it holds the frame until releaseAll.
    void readAndHold()
    {
        xp<NubrixFrameRef> frame;
        ASSERT_EQ(m_stream->readFrame(frame, true), 0);
        frame->incRef();
        m_frames.push_back(frame.get());
    }
    void releaseAll()
    {
        for (NubrixFrameRef *frame : m_frames)
            InternalFrame::releaseHeld(frame);
        m_frames.clear();
    }

    std::vector<NubrixFrameRef *> m_frames;
};

TEST_F(StreamLedgerTest, ANewStreamHasCountedNothing)
{
    const NubrixStreamLedger empty = {};
    const NubrixStreamLedger figures = ledger();
    EXPECT_EQ(std::memcmp(&figures, &empty, sizeof(figures)), 0);
}

TEST_F(StreamLedgerTest, AFrameThatNobodyTakesIsQueuedAndThenReplaced)
{
    start();
    deliverAll(3);
    EXPECT_EQ(ledger().handedOver, 3U);
    EXPECT_EQ(ledger().replaced, 2U);
    EXPECT_EQ(ledger().queued, 1U);
}

TEST_F(StreamLedgerTest, AReadFrameIsHeldUntilItIsReleased)
{
    start();
    deliverAll(1);
    readAndHold();
    EXPECT_EQ(ledger().read, 1U);
    EXPECT_EQ(ledger().queued, 0U);
    EXPECT_EQ(ledger().held, 1U);
    EXPECT_TRUE(eventually([&] { return ledger().longestHeldMicroseconds >= 2000; }));
    releaseAll();
    EXPECT_EQ(ledger().held, 0U);
    EXPECT_EQ(ledger().released, 1U);
    EXPECT_EQ(ledger().longestHeldMicroseconds, 0U);
}

TEST_F(StreamLedgerTest, TheOldestOfTheHeldFramesHasTheLongestTime)
{
    start();
    deliverAll(1);
    readAndHold();
    ASSERT_TRUE(eventually([&] { return ledger().longestHeldMicroseconds >= 5000; }));
    deliverAll(1);
    readAndHold();
    EXPECT_GE(ledger().longestHeldMicroseconds, 5000U);
    EXPECT_EQ(ledger().held, 2U);
    InternalFrame::releaseHeld(m_frames.front());
    m_frames.erase(m_frames.begin());
    EXPECT_EQ(ledger().held, 1U);
    const NubrixStreamLedger before = ledger();
    EXPECT_TRUE(eventually(
        [&] { return ledger().longestHeldMicroseconds > before.longestHeldMicroseconds; }));
}

TEST_F(StreamLedgerTest, TheCallbacksFramesAreCountedWithItsTime)
{
    m_application.then = [] {
        const auto begun = timeMicros();
        while (timeMicros() - begun < 3000)
            std::this_thread::yield();
    };
    setCallback();
    start();
    deliverAll(1);
    ASSERT_TRUE(m_application.calls.reaches(1));
    EXPECT_EQ(ledger().delivered, 1U);
    EXPECT_EQ(ledger().held, 1U);
    EXPECT_TRUE(eventually([&] { return ledger().callbackMicroseconds >= 3000; }));
    m_application.giveBackAll();
    EXPECT_EQ(ledger().released, 1U);
}

TEST_F(StreamLedgerTest, AStopDiscardsTheFrameThatNobodyTook)
{
    start();
    deliverAll(1);
    m_stream->stop();
    EXPECT_EQ(ledger().discarded, 1U);
    EXPECT_EQ(ledger().queued, 0U);
    start();
    deliverAll(2);
    EXPECT_EQ(ledger().handedOver, 3U) << "a stop resets nothing";
}

TEST_F(StreamLedgerTest, FramesThatOnlyARecorderTookAreUsedInPlace)
{
    start();
    deliverAll(1);
    read(false);
    read(false);
    deliverAll(1);
    EXPECT_EQ(ledger().usedInPlace, 1U) << "once, for two recorders";
    EXPECT_EQ(ledger().toRecorders, 2U);
    EXPECT_EQ(ledger().recorded, 0U);
    m_stream->onListenerDone(true);
    EXPECT_EQ(ledger().recorded, 1U);
    deliverAll(1);
    EXPECT_EQ(ledger().replaced, 1U) << "no recorder took this one";
    read(false);
    m_stream->stop();
    EXPECT_EQ(ledger().usedInPlace, 2U);
    EXPECT_EQ(ledger().discarded, 0U);
}

TEST_F(StreamLedgerTest, AFrameOfAPhotoIsUsedInPlaceUnlessItIsRead)
{
    start();
    deliverAll(1);
    EXPECT_EQ(get(), 0);
    deliverAll(1);
    EXPECT_EQ(get(), 0);
    readAndHold();
    EXPECT_EQ(ledger().usedInPlace, 1U);
    EXPECT_EQ(ledger().read, 1U);
}

// A callback that is taken away while a frame waits for it leaves the frame to nobody.
TEST_F(StreamLedgerTest, AFrameOfACallbackThatWasRemovedIsDiscarded)
{
    Latch go;
    m_application.then = [&] { go.pass(); };
    setCallback();
    start();
    deliverAll(1);
    ASSERT_TRUE(eventually([&] { return ledger().delivered == 1; }));
    deliverAll(1);
    m_stream->setStreamCallback(nullptr, nullptr);
    go.open();
    EXPECT_TRUE(eventually([&] { return ledger().discarded == 1; }));
    EXPECT_EQ(ledger().delivered, 1U);
}

TEST_F(StreamLedgerTest, ARefusedRequestIsCountedForStreamsThatAreThere)
{
    start();
    for (unsigned int i = 0; deliver(i); ++i)
        readAndHold();
    EXPECT_EQ(ledger().refused, 1U);
    EXPECT_EQ(ledger().held, m_frames.size());
    VideoStream later(m_device, m_sensor);
    EXPECT_EQ(later.ledger().refused, 0U);
    EXPECT_FALSE(deliver(0));
    EXPECT_EQ(later.ledger().refused, 1U);
    EXPECT_EQ(ledger().refused, 2U);
}

TEST_F(StreamLedgerTest, AFrameWithoutAStreamIsUnclaimed)
{
    start();
    LooseFrame frame;
    emit(frame);
    EXPECT_EQ(ledger().unclaimed, 0U);
    m_stream->stop();
    emit(frame);
    EXPECT_EQ(ledger().unclaimed, 1U);
    EXPECT_EQ(ledger().handedOver, 1U);
}

TEST_F(StreamLedgerTest, EachStreamOfASensorCountsForItself)
{
    VideoStream second(m_device, m_sensor);
    start();
    ASSERT_EQ(second.start(), 0);
    deliverAll(2);
    readAndHold();
    xp<NubrixFrameRef> frame;
    ASSERT_EQ(second.readFrame(frame, true), 0);
    ASSERT_EQ(frame.get(), m_frames.front()) << "one frame, held twice";
    frame->incRef();
    EXPECT_EQ(ledger().held + second.ledger().held, 2U);
    InternalFrame::releaseHeld(frame.get());
    EXPECT_EQ(ledger().held + second.ledger().held, 1U);
    releaseAll();
    EXPECT_EQ(ledger().held, 0U);
    EXPECT_EQ(second.ledger().held, 0U);
    EXPECT_EQ(ledgerFault(second.ledger()), "");
    EXPECT_EQ(second.ledger().handedOver, 2U);
}

// Its release calls nothing of the library.
TEST_F(StreamLedgerTest, AFrameThatTheDriverMadeItselfCountsAsReleased)
{
    LooseFrame frame;
    start();
    emit(frame);
    EXPECT_EQ(read(true), 0);
    EXPECT_EQ(ledger().read, 1U);
    EXPECT_EQ(ledger().released, 1U);
    frame.incRef();
    InternalFrame::releaseHeld(&frame);
    EXPECT_EQ(ledger().released, 1U);
    EXPECT_EQ(frame.held(), 0);
}

TEST_F(StreamLedgerTest, AFrameMayOutliveItsStreamAndItsPool)
{
    start();
    deliverAll(1);
    readAndHold();
    m_stream.reset();
    releaseAll();
    makeStream();
    start();
    deliverAll(1);
    readAndHold();
    m_driver.frameBufferSize = 128;
    m_stream->stop();
    start();  // the pool forgets the frame
    EXPECT_EQ(ledger().held, 1U);
    releaseAll();
    EXPECT_EQ(ledger().held, 0U);
}

TEST(HeldFramesTest, WithoutMemoryAFrameCountsAsReleased)
{
    HeldFrames held;
    HeldFrames::Account account;
    std::vector<int> frames(1000);
    NubrixStreamLedger ledger = {};
    std::size_t kept = 0;
    {
        const FailingNew noMemory(0);
        while (ledger.released == 0 && kept < frames.size()) {
            held.add(&frames[kept++], account, 0);
            held.fill(account, 7, ledger);
        }
    }
    EXPECT_EQ(ledger.released, 1U);
    EXPECT_EQ(ledger.held, kept - 1);
    EXPECT_EQ(ledger.longestHeldMicroseconds, 7U);
    held.forget(account);
    held.fill(account, 7, ledger);
    EXPECT_EQ(ledger.held, 0U);
}

}  // namespace
}  // namespace nubrix
