// The frame pool under several threads at once.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "stream/FrameAllocator.h"
#include "tests/fakes/LogRecorder.h"
#include "tests/fakes/SystemCalls.h"
#include "tests/fakes/Waiting.h"

namespace nubrix {
namespace {

constexpr int kRounds = 300;
constexpr unsigned int kSize = 16;

void fill(InternalFrame &frame, unsigned char value)
{
    std::memset(frame.frame().data, value, frame.bufferSize());
}

bool holdsOnly(InternalFrame &frame, unsigned char value)
{
    const auto *const bytes = static_cast<const unsigned char *>(frame.frame().data);
    return std::all_of(bytes, bytes + frame.bufferSize(),
                       [value](unsigned char byte) { return byte == value; });
}

TEST(FrameThreadsTest, NoFrameIsHandedOutTwice)
{
    FrameAllocator pool(kSize, 1, 4);
    std::atomic<int> taken{0};
    const auto useFrames = [&](unsigned char mark) {
        for (int i = 0; i < 10 * kRounds; ++i) {
            InternalFrame *const frame = pool.allocOneFrame();
            if (!frame)
                continue;
            ++taken;
            fill(*frame, mark);
            EXPECT_TRUE(holdsOnly(*frame, mark));
            frame->release();
        }
    };
    std::thread first(useFrames, static_cast<unsigned char>(1));
    std::thread second(useFrames, static_cast<unsigned char>(2));
    useFrames(3);
    first.join();
    second.join();
    EXPECT_EQ(taken, 3 * 10 * kRounds);
}

TEST(FrameThreadsTest, TheLastOfSeveralHoldersGivesAFrameBack)
{
    FrameAllocator pool(kSize, 1, 1);
    std::barrier<> meeting(3);
    InternalFrame *frame = nullptr;
    const auto dropOne = [&] {
        for (int i = 0; i < kRounds; ++i) {
            meeting.arrive_and_wait();
            frame->release();
            meeting.arrive_and_wait();
        }
    };
    std::thread first(dropOne);
    std::thread second(dropOne);
    for (int i = 0; i < kRounds; ++i) {
        // With one frame in all, a reference that is lost or dropped twice shows in the next round.
        frame = pool.allocOneFrame();
        ASSERT_NE(frame, nullptr);
        ASSERT_EQ(frame->incRef(), 2);
        ASSERT_EQ(frame->incRef(), 3);
        meeting.arrive_and_wait();
        frame->release();
        meeting.arrive_and_wait();
    }
    first.join();
    second.join();
}

// Two threads meet, and one drops a frame while the other does something to the pool.
template <class Prepare, class Action, class Check>
void raceWithRelease(Prepare prepare, Action action, Check check)
{
    std::barrier<> meeting(2);
    InternalFrame *frame = nullptr;
    std::thread holder([&] {
        for (int i = 0; i < kRounds; ++i) {
            meeting.arrive_and_wait();
            fill(*frame, 7);
            frame->release();
            meeting.arrive_and_wait();
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        frame = prepare();
        meeting.arrive_and_wait();
        action(i);
        meeting.arrive_and_wait();
        check();
    }
    holder.join();
}

TEST(FrameThreadsTest, AFrameReleasedDuringASizeChangeIsNeverReusedWithTheOldSize)
{
    const LogRecorder log;
    FrameAllocator pool(kSize, 1, 2);
    raceWithRelease([&] { return pool.allocOneFrame(); },
                    [&](int round) {
                        pool.setFrameBufferSize(kSize + 1 + static_cast<unsigned int>(round) % 2);
                    },
                    [&] {
                        InternalFrame *const first = pool.allocOneFrame();
                        InternalFrame *const second = pool.allocOneFrame();
                        EXPECT_EQ(first->bufferSize(), pool.getFrameBufferSize());
                        EXPECT_EQ(second->bufferSize(), pool.getFrameBufferSize());
                        first->release();
                        second->release();
                    });
}

// The buffers of frames that were allocated and not freed.
class LivingBuffers {
public:
    /// beforeLock is called on every thread that is about to lock a mutex.
    explicit LivingBuffers(const std::function<void()> &beforeLock = [] {})
    {
        m_calls.mutexLock = [beforeLock](pthread_mutex_t *mutex) {
            beforeLock();
            return RealCalls::mutexLock(mutex);
        };
        m_calls.calloc = [this](std::size_t count, std::size_t size) {
            void *const buffer = RealCalls::calloc(count, size);
            const std::lock_guard<std::mutex> guard(m_mutex);
            m_living.insert(buffer);
            return buffer;
        };
        m_calls.free = [this](void *buffer) {
            std::set<void *>::node_type gone;  // freed without the lock: that comes here again
            {
                const std::lock_guard<std::mutex> guard(m_mutex);
                gone = m_living.extract(buffer);
            }
            RealCalls::free(buffer);
        };
    }
    std::size_t count()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_living.size();
    }

private:
    std::mutex m_mutex;
    std::set<void *> m_living;
    SystemCalls m_calls;
    const SystemCallsInForce m_inForce{m_calls};
};

TEST(FrameThreadsTest, AFrameMayBeReleasedWhileItsPoolIsDestroyed)
{
    LivingBuffers buffers;
    std::unique_ptr<FrameAllocator> pool;
    raceWithRelease(
        [&] {
            pool = std::make_unique<FrameAllocator>(kSize, 1, 2);
            InternalFrame *const frame = pool->allocOneFrame();
            EXPECT_EQ(buffers.count(), 1U);
            return frame;
        },
        [&](int) { pool.reset(); }, [&] { EXPECT_EQ(buffers.count(), 0U); });
}

thread_local bool t_stopsAtTheLock = false;

TEST(FrameThreadsTest, AFrameThatIsAboutToReturnToADestroyedPoolIsFreed)
{
    Latch atTheLock;
    Latch poolIsGone;
    LivingBuffers buffers([&] {
        if (std::exchange(t_stopsAtTheLock, false)) {
            atTheLock.open();
            EXPECT_TRUE(poolIsGone.pass());
        }
    });
    auto pool = std::make_unique<FrameAllocator>(kSize, 1, 2);
    InternalFrame *const frame = pool->allocOneFrame();
    std::thread holder([frame] {
        t_stopsAtTheLock = true;
        EXPECT_EQ(frame->release(), 0);
    });
    EXPECT_TRUE(atTheLock.pass());
    pool.reset();
    EXPECT_EQ(buffers.count(), 1U);
    poolIsGone.open();
    holder.join();
    EXPECT_EQ(buffers.count(), 0U);
}

TEST(FrameThreadsTest, FramesMayBeTakenWhileAllAreForgotten)
{
    FrameAllocator pool(kSize, 1, 10);
    raceWithRelease([&] { return pool.allocOneFrame(); },
                    [&](int) {
                        InternalFrame *const frame = pool.allocOneFrame();
                        pool.releaseAllFrame();
                        frame->release();
                    },
                    [] {});
    std::vector<InternalFrame *> all;
    while (InternalFrame *const frame = pool.allocOneFrame())
        all.push_back(frame);
    EXPECT_EQ(all.size(), 10U);
    for (InternalFrame *frame : all)
        frame->release();
}

TEST(FrameThreadsTest, FramesOutliveTheirPoolOnOtherThreads)
{
    auto pool = std::make_unique<FrameAllocator>(kSize, 4, 10);
    std::barrier<> poolIsGone(4);
    std::vector<std::thread> holders;
    for (unsigned char i = 0; i < 3; ++i) {
        InternalFrame *const frame = pool->allocOneFrame();
        holders.emplace_back([&poolIsGone, frame, i] {
            fill(*frame, i);
            poolIsGone.arrive_and_wait();
            EXPECT_TRUE(holdsOnly(*frame, i));
            EXPECT_EQ(frame->incRef(), 2);
            EXPECT_EQ(frame->release(), 1);
            EXPECT_EQ(frame->release(), 0);
        });
    }
    pool.reset();
    poolIsGone.arrive_and_wait();
    for (std::thread &holder : holders)
        holder.join();
}

}  // namespace
}  // namespace nubrix
