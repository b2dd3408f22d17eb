// Once a stream runs, a frame's way through the client layer takes nothing from the heap.
#include <atomic>
#include <cstdlib>
#include <new>
#include <thread>
#include <vector>

#include "tests/client/ClientFixture.h"
#include "tests/heap/HeapCalls.h"

namespace {

/// How many of the next allocations of a thread fail.
std::atomic<int> g_failures{0};
std::atomic<std::thread::id> g_failingThread{};

}  // namespace

void *operator new(std::size_t size)
{
    if (g_failures > 0 && g_failingThread.load() == std::this_thread::get_id()) {
        --g_failures;
        throw std::bad_alloc();
    }
    if (void *const memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

namespace nubrix {
namespace {

constexpr int kWarmUp = 50;
constexpr int kFrames = 300;

class ClientHeapTest : public ClientTest {
protected:
    /// Takes frame after frame, and counts once the way is warm.
    template <class OneFrame>
    static void expectNoAllocation(const OneFrame &oneFrame)
    {
        for (int i = 0; i < kWarmUp; ++i)
            oneFrame();
        const unsigned long before = heapCalls();
        for (int i = 0; i < kFrames; ++i)
            oneFrame();
        EXPECT_EQ(heapCalls() - before, 0U);
    }

    Camera m_camera = Session().open();
};

TEST_F(ClientHeapTest, AFrameThatIsAllocatedIsCounted)
{
    const Frame frame = m_camera.start(StreamType::kDepth).next(kLong);
    const unsigned long before = heapCalls();
    EXPECT_TRUE(frame.clone());
    EXPECT_GE(heapCalls() - before, 2U);
}

TEST_F(ClientHeapTest, FramesThatAreWaitedForAllocateNothing)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    expectNoAllocation([&] {
        const Frame frame = depth.next(kLong);
        const Frame copy = frame;
        ASSERT_GT(copy.millimetres(320, 240), 0);
    });
}

TEST_F(ClientHeapTest, FramesOfALoopAllocateNothing)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    int done = 0;
    unsigned long before = 0;
    unsigned long after = 0;
    for (const Frame &frame : depth) {
        ASSERT_EQ(frame.width(), 640);
        if (++done == kWarmUp)
            before = heapCalls();
        after = heapCalls();
        if (done == kWarmUp + kFrames)
            break;
    }
    EXPECT_EQ(after - before, 0U);
}

TEST_F(ClientHeapTest, FramesOfSeveralStreamsAllocateNothing)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    Stream infrared = m_camera.start(StreamType::kInfrared);
    expectNoAllocation([&] { ASSERT_TRUE(client::waitAny({&depth, &infrared}, kLong).tryNext()); });
}

TEST_F(ClientHeapTest, FramesForAFunctionAllocateNothing)
{
    Counter frames;
    Stream depth = m_camera.start(StreamType::kDepth);
    depth.onFrame([&](const Frame &) { frames.add(); });
    int expected = 0;
    expectNoAllocation([&] { ASSERT_TRUE(frames.reaches(++expected)); });
}

TEST_F(ClientHeapTest, AFunctionThatRunsOutOfMemoryEndsItsStreamWithAnError)
{
    Stream depth = m_camera.start(StreamType::kDepth);
    depth.onFrame([](const Frame &) {
        g_failingThread = std::this_thread::get_id();
        g_failures = 3;  // here, for the text of the Error, and for a shorter one
        EXPECT_FALSE(std::vector<int>(100).empty());
    });
    try {
        depth.next(kLong);
        FAIL() << "a frame";
    } catch (const Error &error) {
        g_failures = 0;
        EXPECT_STREQ(error.operation(), "onFrame");
        EXPECT_THAT(error.what(), testing::HasSubstr("too little memory"));
    }
}

}  // namespace
}  // namespace nubrix
