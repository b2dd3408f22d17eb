// What the client layer adds to a frame, next to the raw calls: the same frames, in the same run,
// in turn. Goal: a ratio of at least 0.97.
#include <dlfcn.h>
#include <sched.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "bench/Baton.h"
#include "bench/Ratio.h"
#include "bench/stream/BenchDriver.h"
#include "nubrix/client.h"

namespace {

using nubrix::bench::Baton;
using nubrix::client::Frame;
using nubrix::client::Session;
using nubrix::client::StreamType;

constexpr int kFrames = 100;  // of one measurement

/// Keeps this thread, and those that it starts from now on, on one processor: the time of a round
/// is then what all of them compute, and not how long an idle processor takes to wake.
class OneProcessor {
public:
    OneProcessor()
    {
        ::sched_getaffinity(0, sizeof(m_before), &m_before);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned int>(::sched_getcpu()), &one);
        ::sched_setaffinity(0, sizeof(one), &one);
    }
    ~OneProcessor() { ::sched_setaffinity(0, sizeof(m_before), &m_before); }
    OneProcessor(const OneProcessor &) = delete;
    OneProcessor &operator=(const OneProcessor &) = delete;

private:
    cpu_set_t m_before = {};
};

/// Two cameras: the raw calls have the first stream, the client layer the second. Frames are
/// squares of the given side.
struct World {
    explicit World(const benchmark::State &state)
    {
        const auto setSize =
            reinterpret_cast<BenchSetSize>(dlsym(libUvcDriverHandle, "benchSetSize"));
        const auto found = dlsym(libUvcDriverHandle, "benchDeliver");
        deliver = reinterpret_cast<BenchDeliver>(found);
        if (!deliver || !setSize)
            std::abort();
        const auto side = static_cast<int>(state.range(0));
        setSize(side, side);
    }
    /// Delivers a frame and waits until it was used, again and again.
    void run(benchmark::State &state, unsigned int stream, Baton &used)
    {
        for (int i = 0; i < kFrames; ++i) {
            if (!deliver(stream)) {
                state.SkipWithError("the pool has no frame");
                return;
            }
            used.take();
        }
    }
    NubrixStream *openRaw(NubrixFrameCallback callback, void *user)
    {
        NubrixStream *stream = nullptr;
        if (context.openStream(camera.handle(), NUBRIX_STREAM_DEPTH, &stream, callback, user) != 0)
            std::abort();
        return stream;
    }

    const OneProcessor pinned;
    Session session;
    NubrixBaseContext &context = session.context();
    nubrix::client::Camera camera = session.open("usb:bench-0");
    nubrix::client::Camera other = session.open("usb:bench-1");
    BenchDeliver deliver;
};

struct RawReceiver {
    World &world;
    Baton used;

    static void onFrame(NubrixStream *, typedefNubrixFrame *frame, void *user)
    {
        auto *const self = static_cast<RawReceiver *>(user);
        self->world.context.releaseFrame(frame);
        self->used.pass();
    }
};

// Functions that are called with each frame.
void BM_Client_OnFrame(benchmark::State &state)
{
    World world(state);
    RawReceiver raw{world, {}};
    NubrixStream *const peer = world.openRaw(&RawReceiver::onFrame, &raw);
    Baton used;
    auto depth = world.other.start(StreamType::kDepth);
    depth.onFrame([&](Frame frame) {
        frame = {};
        used.pass();
    });
    nubrix::bench::measureAgainst(
        state, kFrames, [&] { world.run(state, 1, used); }, [&] { world.run(state, 0, raw.used); });
    depth.stop();
    world.context.closeStream(peer);
}

/// What a program without the layer has for a thread that waits: a callback, a queue, a lock.
struct RawQueue {
    World &world;
    std::mutex mutex;
    std::condition_variable condition;
    std::deque<typedefNubrixFrame *> frames;
    bool ending = false;

    static void onFrame(NubrixStream *, typedefNubrixFrame *frame, void *user)
    {
        auto *const self = static_cast<RawQueue *>(user);
        {
            const std::lock_guard<std::mutex> guard(self->mutex);
            self->frames.push_back(frame);
        }
        self->condition.notify_all();
    }
    typedefNubrixFrame *next()
    {
        std::unique_lock<std::mutex> guard(mutex);
        condition.wait(guard, [&] { return ending || !frames.empty(); });
        if (frames.empty())
            return nullptr;
        typedefNubrixFrame *const frame = frames.front();
        frames.pop_front();
        return frame;
    }
    void end()
    {
        const std::lock_guard<std::mutex> guard(mutex);
        ending = true;
        condition.notify_all();
    }
};

void readFrames(World &world, const std::function<typedefNubrixFrame *()> &next, Baton &used)
{
    while (typedefNubrixFrame *const frame = next()) {
        world.context.releaseFrame(frame);
        used.pass();
    }
}

void measureNext(benchmark::State &state, World &world, Baton &peerUsed)
{
    auto depth = world.other.start(StreamType::kDepth);
    Baton used;
    std::thread reader([&] {
        for (const Frame &frame : depth) {
            benchmark::DoNotOptimize(frame.data());
            used.pass();
        }
    });
    nubrix::bench::measureAgainst(
        state, kFrames, [&] { world.run(state, 1, used); }, [&] { world.run(state, 0, peerUsed); });
    depth.stop();
    reader.join();
}

// Threads that wait for each frame.
void BM_Client_Next_Queue(benchmark::State &state)
{
    World world(state);
    RawQueue queue{world, {}, {}, {}};
    NubrixStream *const peer = world.openRaw(&RawQueue::onFrame, &queue);
    Baton used;
    std::thread reader([&] {
        readFrames(
            world, [&] { return queue.next(); }, used);
    });
    measureNext(state, world, used);
    queue.end();
    reader.join();
    world.context.closeStream(peer);
}

// The same next to readFrame, for which readers of several streams wait for each other.
void BM_Client_Next_ReadFrame(benchmark::State &state)
{
    World world(state);
    NubrixStream *const peer = world.openRaw(nullptr, nullptr);
    Baton used;
    std::atomic<bool> ending{false};
    std::thread reader([&] {
        const auto next = [&] {
            typedefNubrixFrame *frame = nullptr;
            while (!ending && world.context.readFrame(peer, &frame, 100) != 0) {
            }
            return frame;
        };
        readFrames(world, next, used);
    });
    measureNext(state, world, used);
    ending = true;
    reader.join();
    world.context.closeStream(peer);
}

// The smallest frames and 4 MB.
void sides(benchmark::internal::Benchmark *bench)
{
    bench->ArgName("side")->Arg(2)->Arg(1200)->UseManualTime();
}
BENCHMARK(BM_Client_OnFrame)->Apply(sides);
BENCHMARK(BM_Client_Next_Queue)->Apply(sides);
BENCHMARK(BM_Client_Next_ReadFrame)->Apply(sides);

}  // namespace
