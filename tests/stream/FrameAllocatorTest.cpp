#include "stream/FrameAllocator.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "tests/fakes/FailingNew.h"
#include "tests/fakes/LogRecorder.h"
#include "tests/fakes/SystemCalls.h"

namespace nubrix {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned int kSize = 32;

class FrameAllocatorTest : public testing::Test {
protected:
    ~FrameAllocatorTest() override { releaseHeld(); }

    void makePool(unsigned int reuseThreshold, unsigned int maxFrames, unsigned int size = kSize)
    {
        m_pool = std::make_unique<FrameAllocator>(size, reuseThreshold, maxFrames);
    }
    // The frames belong to the test until releaseHeld.
    InternalFrame *hold()
    {
        InternalFrame *const frame = m_pool->allocOneFrame();
        if (frame)
            m_held.push_back(frame);
        return frame;
    }
    void hold(int count)
    {
        for (int i = 0; i < count; ++i)
            ASSERT_NE(hold(), nullptr);
    }
    /// The frame that was held longest goes back.
    InternalFrame *releaseOldest()
    {
        InternalFrame *const frame = m_held.front();
        m_held.pop_front();
        frame->release();
        return frame;
    }
    void releaseHeld()
    {
        while (!m_held.empty())
            releaseOldest();
    }

    LogRecorder m_log;
    std::unique_ptr<FrameAllocator> m_pool;
    std::deque<InternalFrame *> m_held;
};

TEST_F(FrameAllocatorTest, HoldingEveryFrameMakesTheNextRequestFail)
{
    makePool(4, 10);
    hold(10);
    EXPECT_THAT(m_log.take(), IsEmpty());
    EXPECT_EQ(hold(), nullptr);
    EXPECT_EQ(hold(), nullptr);
    EXPECT_THAT(m_log.take(), ElementsAre(errorLine("no available Frame!!!"),
                                          errorLine("no available Frame!!!")));
}

TEST_F(FrameAllocatorTest, OneOrTwoSpareFramesAreNotReusedEvenWhenNoMoreMayBeCreated)
{
    makePool(4, 10);
    hold(10);
    releaseOldest();
    EXPECT_EQ(hold(), nullptr);
    releaseOldest();
    EXPECT_EQ(hold(), nullptr);
    EXPECT_THAT(m_log.take(), Each(errorLine("no available Frame!!!")));
    releaseOldest();
    EXPECT_NE(hold(), nullptr);
    EXPECT_THAT(m_log.take(), IsEmpty());
}

TEST_F(FrameAllocatorTest, WithThreeSpareFramesTheOneThatCameBackFirstIsReused)
{
    makePool(4, 10);
    hold(10);
    InternalFrame *const first = releaseOldest();
    InternalFrame *const second = releaseOldest();
    releaseOldest();
    EXPECT_EQ(hold(), first);
    EXPECT_EQ(hold(), nullptr);
    releaseOldest();
    EXPECT_EQ(hold(), second);
}

TEST_F(FrameAllocatorTest, UntilThreeAreSpareEveryRequestCreatesAFrame)
{
    makePool(4, 10);
    InternalFrame *const first = hold();
    releaseOldest();
    InternalFrame *const second = hold();
    EXPECT_NE(second, first);
    releaseOldest();
    InternalFrame *const third = hold();
    EXPECT_NE(third, first);
    EXPECT_NE(third, second);
    releaseOldest();
    EXPECT_EQ(hold(), first);
    releaseOldest();
    EXPECT_EQ(hold(), second);
}

TEST_F(FrameAllocatorTest, AThresholdOfOneReusesEverySpareFrame)
{
    makePool(1, 2);
    InternalFrame *const first = hold();
    releaseOldest();
    EXPECT_EQ(hold(), first);
    hold(1);
    EXPECT_EQ(hold(), nullptr);
    EXPECT_EQ(releaseOldest(), first);
    EXPECT_EQ(hold(), first);
}

TEST_F(FrameAllocatorTest, AThresholdOfZeroNeverReuses)
{
    makePool(0, 3);
    for (int i = 0; i < 3; ++i) {
        ASSERT_NE(hold(), nullptr);
        releaseOldest();
    }
    EXPECT_EQ(hold(), nullptr);
    EXPECT_THAT(m_log.take(), ElementsAre(errorLine("no available Frame!!!")));
}

TEST_F(FrameAllocatorTest, APoolOfNoFramesYieldsNone)
{
    makePool(4, 0);
    EXPECT_EQ(hold(), nullptr);
    EXPECT_THAT(m_log.take(), ElementsAre(errorLine("no available Frame!!!")));
}

struct Shape {
    unsigned int reuseThreshold;
    unsigned int maxFrames;
};

class FramePoolModelTest : public FrameAllocatorTest, public testing::WithParamInterface<Shape> {};

// The rule in its own words, against the pool, over a long random sequence.
TEST_P(FramePoolModelTest, AnyOrderOfRequestsAndReleasesFollowsTheRule)
{
    const Shape &shape = GetParam();
    makePool(shape.reuseThreshold, shape.maxFrames);
    std::deque<InternalFrame *> spare;
    std::vector<InternalFrame *> known;
    std::mt19937 random(7);
    for (int step = 0; step < 3000; ++step) {
        if (random() % 2 == 0 && !m_held.empty()) {
            std::swap(m_held.front(), m_held[random() % m_held.size()]);
            spare.push_back(releaseOldest());
            continue;
        }
        const bool enoughSpare =
            shape.reuseThreshold != 0 && !spare.empty() && spare.size() >= shape.reuseThreshold - 1;
        InternalFrame *const frame = hold();
        if (enoughSpare) {
            ASSERT_EQ(frame, spare.front()) << "at step " << step;
            spare.pop_front();
        } else if (known.size() == shape.maxFrames) {
            ASSERT_EQ(frame, nullptr) << "at step " << step;
        } else {
            ASSERT_NE(frame, nullptr) << "at step " << step;
            ASSERT_THAT(known, testing::Not(testing::Contains(frame))) << "at step " << step;
            known.push_back(frame);
        }
    }
    EXPECT_EQ(known.size(), shape.maxFrames);
}

INSTANTIATE_TEST_SUITE_P(Shapes, FramePoolModelTest,
                         testing::Values(Shape{4, 10}, Shape{0, 10}, Shape{1, 1}, Shape{1, 10},
                                         Shape{2, 3}, Shape{3, 10}, Shape{10, 10}, Shape{20, 10}));

TEST_F(FrameAllocatorTest, ANewFrameIsEmptyAndItsBufferZeroed)
{
    makePool(4, 10);
    InternalFrame *const frame = hold();
    EXPECT_EQ(frame->bufferSize(), kSize);
    const typedefNubrixFrame &record = frame->frame();
    ASSERT_NE(record.data, nullptr);
    const std::vector<unsigned char> zeros(kSize, 0);
    EXPECT_EQ(std::memcmp(record.data, zeros.data(), kSize), 0);
    EXPECT_EQ(record.dataSize, 0U);
    EXPECT_EQ(record.pixelFormat + record.streamType + record.frameIndex + record.timestampLow +
                  record.timestampHigh + record.flags + record.reserved,
              0U);
    EXPECT_EQ(record.width, 0);
    EXPECT_EQ(record.height, 0);
}

TEST_F(FrameAllocatorTest, AReusedFrameKeepsItsRecordAndItsPixels)
{
    makePool(1, 1);
    InternalFrame *const frame = hold();
    std::memset(frame->frame().data, 0xab, kSize);
    frame->frame().dataSize = 5;
    frame->frame().width = 640;
    releaseOldest();
    ASSERT_EQ(hold(), frame);
    EXPECT_EQ(static_cast<unsigned char *>(frame->frame().data)[kSize - 1], 0xab);
    EXPECT_EQ(frame->frame().dataSize, 5U);
    EXPECT_EQ(frame->frame().width, 640);
}

TEST_F(FrameAllocatorTest, AFrameHasOneReferenceAndReturnsWithTheLast)
{
    makePool(1, 1);
    InternalFrame *const frame = hold();
    EXPECT_EQ(frame->incRef(), 2);
    EXPECT_EQ(frame->release(), 1);
    EXPECT_EQ(hold(), nullptr);
    m_held.clear();
    EXPECT_EQ(frame->release(), 0);
    ASSERT_EQ(hold(), frame);
    EXPECT_EQ(frame->incRef(), 2);
    EXPECT_EQ(frame->release(), 1);
}

TEST_F(FrameAllocatorTest, TheRecordLeadsBackToTheFrame)
{
    makePool(1, 1);
    InternalFrame *const frame = hold();
    EXPECT_EQ(InternalFrame::fromRecord(&frame->frame()), frame);
    m_held.clear();
    InternalFrame::fromRecord(&frame->frame())->release();
    EXPECT_EQ(hold(), frame);
}

TEST_F(FrameAllocatorTest, ABufferSizeOfZeroYieldsFramesWithoutABuffer)
{
    makePool(1, 1, 0);
    InternalFrame *const frame = hold();
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->frame().data, nullptr);
    EXPECT_EQ(frame->frame().dataSize, 0U);
    EXPECT_EQ(frame->bufferSize(), 0U);
    releaseOldest();
    EXPECT_EQ(hold(), frame);
}

class NoMemoryTest : public FrameAllocatorTest {
protected:
    // Requests of one size, and only these, find no memory.
    InternalFrame *holdWithoutMemory(unsigned int size)
    {
        SystemCalls calls;
        calls.calloc = [&](std::size_t count, std::size_t each) -> void * {
            if (count * each == size)
                return ++m_refused, nullptr;
            return RealCalls::calloc(count, each);
        };
        const SystemCallsInForce inForce(calls);
        return hold();
    }

    int m_refused = 0;
};

TEST_F(NoMemoryTest, ABufferThatCannotBeAllocatedYieldsNoFrameAndALogLine)
{
    makePool(4, 10, 123456789);
    EXPECT_EQ(holdWithoutMemory(123456789), nullptr);
    EXPECT_EQ(m_refused, 1);
    EXPECT_THAT(m_log.take(), ElementsAre(errorLine("can not alloc  size[123456789]!!!")));
}

TEST_F(NoMemoryTest, ASizeAbove31BitsIsRequestedInFull)
{
    makePool(4, 10, 4294967295U);
    EXPECT_EQ(holdWithoutMemory(4294967295U), nullptr);
    EXPECT_EQ(m_refused, 1);
    EXPECT_THAT(m_log.take(), ElementsAre(errorLine("can not alloc  size[-1]!!!")));
}

TEST_F(NoMemoryTest, AFailedCreationCountsAsOneOfTheFrames)
{
    makePool(1, 2, 99);
    EXPECT_EQ(holdWithoutMemory(99), nullptr);
    m_log.take();
    InternalFrame *const frame = hold();
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->bufferSize(), 99U);
    EXPECT_EQ(hold(), nullptr);
    EXPECT_THAT(m_log.take(), ElementsAre(errorLine("no available Frame!!!")));
    releaseOldest();
    EXPECT_EQ(hold(), frame);
}

TEST_F(NoMemoryTest, AFrameThatCannotBeMadeDoesNotCount)
{
    makePool(4, 1);
    const auto nothingIsLeftBehind = [this] {
        EXPECT_THAT(m_held, IsEmpty());
        EXPECT_THAT(m_log.take(), ElementsAre(errorLine("can not alloc  size[32]!!!")));
    };
    InternalFrame *frame = nullptr;
    const auto take = [&] { frame = m_pool->allocOneFrame(); };
    EXPECT_EQ(failEachAllocation(take, nothingIsLeftBehind), 3);  // the frame and its connection
    ASSERT_NE(frame, nullptr);
    m_held.push_back(frame);
    EXPECT_EQ(hold(), nullptr);
    EXPECT_THAT(m_log.take(), ElementsAre(errorLine("no available Frame!!!")));
}

TEST(FrameAllocatorLockTest, NoLineIsLoggedUnderTheLock)
{
    std::unique_ptr<FrameAllocator> pool;
    std::vector<std::thread> others;
    // Another thread gets the lock while a line is logged.
    const LogRecorder log([&](const LogLine &) {
        const auto passed = std::make_shared<Latch>();
        others.emplace_back([&pool, passed] {
            pool->getFrameBufferSize();
            passed->open();
        });
        EXPECT_TRUE(passed->pass());
    });
    SystemCalls calls;
    calls.calloc = [](std::size_t count, std::size_t each) {
        return count * each == kSize ? nullptr : RealCalls::calloc(count, each);
    };
    const SystemCallsInForce inForce(calls);
    pool = std::make_unique<FrameAllocator>(kSize, 4, 1);
    EXPECT_EQ(pool->allocOneFrame(), nullptr);  // no memory
    EXPECT_EQ(pool->allocOneFrame(), nullptr);  // exhausted
    pool->setFrameBufferSize(kSize);
    pool->setFrameBufferSize(kSize + 1);
    EXPECT_EQ(others.size(), 4U);
    for (std::thread &other : others)
        other.join();
}

TEST_F(FrameAllocatorTest, SettingTheSameSizeKeepsAllFrames)
{
    makePool(1, 1);
    InternalFrame *const frame = hold();
    m_pool->setFrameBufferSize(kSize);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("Buffer Size do not need change[32]")));
    releaseOldest();
    EXPECT_EQ(hold(), frame);
    m_pool->setFrameBufferSize(kSize);
    EXPECT_EQ(hold(), nullptr);
}

TEST_F(FrameAllocatorTest, ANewSizeHoldsForFramesFromThenOn)
{
    makePool(1, 1);
    hold(1);
    releaseOldest();
    EXPECT_EQ(m_pool->getFrameBufferSize(), kSize);
    m_pool->setFrameBufferSize(48);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("Change buffer Size from [32] to [48]")));
    EXPECT_EQ(m_pool->getFrameBufferSize(), 48U);
    InternalFrame *const frame = hold();
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->bufferSize(), 48U);
}

TEST_F(FrameAllocatorTest, AFrameHeldAcrossASizeChangeIsDeletedInsteadOfReused)
{
    makePool(1, 2);
    InternalFrame *const old = hold();
    m_pool->setFrameBufferSize(48);
    // It is still whole.
    std::memset(old->frame().data, 1, old->bufferSize());
    EXPECT_EQ(old->bufferSize(), kSize);
    EXPECT_EQ(old->incRef(), 2);
    EXPECT_EQ(old->release(), 1);
    m_held.clear();
    EXPECT_EQ(old->release(), 0);
    hold(2);
    for (const InternalFrame *frame : m_held)
        EXPECT_EQ(frame->bufferSize(), 48U);
}

TEST_F(FrameAllocatorTest, InAdditionToFramesOfTheOldSizeAsManyNewOnesMayExist)
{
    makePool(1, 10);
    hold(10);
    m_pool->setFrameBufferSize(48);
    hold(10);
    EXPECT_EQ(hold(), nullptr);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(m_held[static_cast<std::size_t>(i)]->bufferSize(), kSize);
    // The destruction of the old ones frees no capacity: they no longer belong to the pool.
    for (int i = 0; i < 10; ++i)
        releaseOldest();
    EXPECT_EQ(hold(), nullptr);
}

TEST_F(FrameAllocatorTest, ReleasingAllFramesForgetsThem)
{
    makePool(1, 2);
    hold(2);
    releaseOldest();
    m_pool->releaseAllFrame();
    hold(2);
    EXPECT_EQ(hold(), nullptr);
    releaseOldest();
    EXPECT_EQ(hold(), nullptr);
    EXPECT_THAT(m_log.take(), Each(errorLine("no available Frame!!!")));
}

TEST_F(FrameAllocatorTest, AFrameOutlivesItsPool)
{
    makePool(4, 10);
    hold(2);
    m_pool.reset();
    InternalFrame *const frame = m_held.back();
    std::memset(frame->frame().data, 1, frame->bufferSize());
    EXPECT_EQ(frame->incRef(), 2);
    EXPECT_EQ(frame->release(), 1);
    releaseHeld();
}

}  // namespace
}  // namespace nubrix
