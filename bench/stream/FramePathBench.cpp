// The path of a frame from the driver's thread to the application, against a bare hand-over between
// two threads; and what a frame costs with one stream and with sixty.
#include <dlfcn.h>
#include <sys/resource.h>

#include <atomic>
#include <thread>
#include <vector>

#include "bench/Baton.h"
#include "bench/Ratio.h"
#include "bench/stream/BenchDriver.h"
#include "nubrix/nubrix.h"

namespace {

using nubrix::bench::Baton;

/// A relay of `hops` threads, each passing the baton on; the last one gives it back.
class Relay {
public:
    explicit Relay(int hops) : m_batons(static_cast<std::size_t>(hops) + 1)
    {
        for (int i = 0; i < hops; ++i) {
            m_threads.emplace_back([this, i] {
                for (;;) {
                    m_batons[static_cast<std::size_t>(i)].take();
                    const bool ending = m_ending;
                    m_batons[static_cast<std::size_t>(i) + 1].pass();
                    if (ending)
                        return;
                }
            });
        }
    }
    ~Relay()
    {
        m_ending = true;
        roundTrip();
        for (std::thread &thread : m_threads)
            thread.join();
    }
    void roundTrip()
    {
        m_batons.front().pass();
        m_batons.back().take();
    }

private:
    std::vector<Baton> m_batons;
    std::vector<std::thread> m_threads;
    std::atomic<bool> m_ending{false};
};

struct Library {
    Library()
    {
        context = ContextFactory();
        if (context->initialize() != 0)
            std::abort();
        deliver = reinterpret_cast<BenchDeliver>(dlsym(libUvcDriverHandle, "benchDeliver"));
    }
    /// For frames of `width` pixels in each direction.
    explicit Library(int width) : Library() { setSize(width, width); }
    ~Library()
    {
        setSize(640, 480);
        context->destroy();
        deleteContext(context);
    }
    static void setSize(int width, int height)
    {
        const auto set = reinterpret_cast<BenchSetSize>(dlsym(libUvcDriverHandle, "benchSetSize"));
        if (!set)
            std::abort();
        set(width, height);
    }
    NubrixStream *open(unsigned int index, NubrixFrameCallback callback, void *user)
    {
        static const unsigned int kTypes[] = {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH,
                                              NUBRIX_STREAM_IR, NUBRIX_STREAM_LIGHT_IR};
        if (index % 4 == 0) {
            typedefNubrixeviceAttribute *list = nullptr;
            unsigned int count = 0;
            context->nubrixGetDeviceList(&list, &count);
            if (context->openDevice(list[index / 4].uri, &device) != 0)
                std::abort();
        }
        NubrixStream *stream = nullptr;
        if (context->openStream(device, kTypes[index % 4], &stream, callback, user) != 0)
            std::abort();
        return stream;
    }

    NubrixBaseContext *context;
    NubrixDevice *device = nullptr;
    BenchDeliver deliver;
};

struct Receiver {
    NubrixBaseContext *context;
    Baton back;

    static void onFrame(NubrixStream *, typedefNubrixFrame *frame, void *user)
    {
        auto *const self = static_cast<Receiver *>(user);
        self->context->releaseFrame(frame);
        self->back.pass();
    }
};

// Of the smallest frames and of 4 MB: nothing of a frame's bytes may be touched on its way.
void BM_FramePath_ToCallback(benchmark::State &state)
{
    Library library(static_cast<int>(state.range(0)));
    Receiver receiver{library.context, {}};
    library.open(0, &Receiver::onFrame, &receiver);
    Relay bare(1);
    nubrix::bench::measureAgainst(
        state, 1,
        [&] {
            if (!library.deliver(0))
                state.SkipWithError("the pool has no frame");
            receiver.back.take();
        },
        [&] { bare.roundTrip(); });
}
BENCHMARK(BM_FramePath_ToCallback)
    ->ArgName("side")
    ->Arg(2)
    ->Arg(1200)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

// A waiting reader is notified by the stream's own thread: two hand-overs by design. `hops` is how
// many the peer makes.
void BM_FramePath_ToReader(benchmark::State &state)
{
    Library library;
    NubrixStream *const stream = library.open(0, nullptr, nullptr);
    Baton back;
    std::atomic<bool> ending{false};
    std::thread reader([&] {
        while (!ending) {
            typedefNubrixFrame *frame = nullptr;
            if (library.context->readFrame(stream, &frame, 100) != 0)
                continue;
            library.context->releaseFrame(frame);
            back.pass();
        }
    });
    {
        Relay bare(static_cast<int>(state.range(0)));
        nubrix::bench::measureAgainst(
            state, 1,
            [&] {
                if (!library.deliver(0))
                    state.SkipWithError("the pool has no frame");
                back.take();
            },
            [&] { bare.roundTrip(); });
    }
    ending = true;
    reader.join();
}
BENCHMARK(BM_FramePath_ToReader)
    ->ArgName("hops")
    ->Arg(1)
    ->Arg(2)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

double cpuSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The CPU time of a frame when `streams` streams run, against that of a frame when one does.
void BM_FramePath_ManyStreams(benchmark::State &state)
{
    constexpr unsigned int kFrames = 480;
    const auto streams = static_cast<unsigned int>(state.range(0));
    Library library;
    Receiver receiver{library.context, {}};
    for (unsigned int i = 0; i < streams; ++i)
        library.open(i, &Receiver::onFrame, &receiver);

    const auto cpuOfFrames = [&](unsigned int among) {
        const double begin = cpuSeconds();
        for (unsigned int sent = 0; sent < kFrames; sent += among) {
            for (unsigned int i = 0; i < among; ++i) {
                if (!library.deliver(i))
                    state.SkipWithError("the pool has no frame");
            }
            for (unsigned int i = 0; i < among; ++i)
                receiver.back.take();
        }
        return 1e9 * (cpuSeconds() - begin) / kFrames;
    };
    std::vector<double> all;
    std::vector<double> one;
    for (auto _ : state) {
        one.push_back(cpuOfFrames(1));
        state.SetIterationTime(
            nubrix::bench::secondsOf([&] { all.push_back(cpuOfFrames(streams)); }));
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
    nubrix::bench::setRatio(state, nubrix::bench::median(all), nubrix::bench::median(one));
}
BENCHMARK(BM_FramePath_ManyStreams)
    ->ArgName("streams")
    ->Arg(1)
    ->Arg(8)
    ->Arg(60)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace
