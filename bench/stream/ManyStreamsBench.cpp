// What a frame costs when 1, 8 or 60 streams run, against one of a single stream; and how many
// times threads wake up for it.
#include <pthread.h>
#include <sys/resource.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/Ratio.h"
#include "bench/stream/BenchLibrary.h"

namespace {

using nubrix::bench::Baton;
using nubrix::bench::Library;
using nubrix::bench::median;
using nubrix::bench::Receiver;
using nubrix::bench::Relay;

constexpr unsigned int kFrames = 480;
constexpr char kReaderName[] = "bench reader";

double cpuSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// How often the threads that a frame passes through have slept: those of streams and the reader.
long wakeups()
{
    const auto valueOf = [](const std::string &line) { return line.substr(line.find('\t') + 1); };
    long all = 0;
    for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        std::string line;
        std::getline(status, line);
        const std::string name = valueOf(line);
        if (name != "Stream Thread" && name != "Stream CallBack" && name != kReaderName)
            continue;
        while (std::getline(status, line)) {
            if (line.rfind("voluntary_ctxt_switches", 0) == 0)
                all += std::stol(valueOf(line));
        }
    }
    return all;
}

/// The streams that deliver the frames of a run: all in turn, or for each frame any of them.
std::vector<unsigned int> scheduleOf(bool isRandom, unsigned int streams)
{
    std::vector<unsigned int> schedule;
    unsigned int random = 1;
    for (unsigned int i = 0; i < kFrames; ++i) {
        random = random * 1664525U + 1013904223U;
        schedule.push_back((isRandom ? random >> 8U : i) % streams);
    }
    return schedule;
}

double threadSeconds()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// The CPU time of the process for each of kFrames frames, without that of the pauses.
class FrameCost {
public:
    /// Time for all threads to fall asleep, as they do between the frames of cameras. This thread
    /// stays awake, so that other processes find no idle processor.
    void pause()
    {
        const double begin = threadSeconds();
        const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(15);
        while (std::chrono::steady_clock::now() < end) {
        }
        m_paused += threadSeconds() - begin;
    }
    double ns() const { return 1e9 * (cpuSeconds() - m_begin - m_paused) / kFrames; }

private:
    const double m_begin = cpuSeconds();
    double m_paused = 0;
};

/// Runs `deliver(frames, among, cost)` with frames of all streams and with as many of stream 0
/// alone, in turn, and a bare hand-over that has `hops`.
template <class Deliver>
void measure(benchmark::State &state, int hops, Deliver deliver)
{
    const auto streams = static_cast<unsigned int>(state.range(1));
    const std::vector<unsigned int> several = scheduleOf(state.range(0) != 0, streams);
    const std::vector<unsigned int> single = scheduleOf(false, 1);
    Relay bare(hops);
    std::vector<double> all;
    std::vector<double> one;
    std::vector<double> limit;
    long woken = 0;
    for (auto _ : state) {
        FrameCost relay;
        for (unsigned int i = 0; i < kFrames; ++i) {
            bare.roundTrip();
            relay.pause();
        }
        limit.push_back(relay.ns());
        FrameCost alone;
        deliver(single, 1U, alone);
        one.push_back(alone.ns());
        const long before = wakeups();
        state.SetIterationTime(nubrix::bench::secondsOf([&] {
            FrameCost together;
            deliver(several, streams, together);
            all.push_back(together.ns());
        }));
        woken += wakeups() - before;
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
    nubrix::bench::setRatio(state, median(all), median(one));
    state.counters["bare_ns"] = median(limit);
    state.counters["wakeups"] =
        static_cast<double>(woken) / static_cast<double>(state.iterations() * kFrames);
}

// In turn: the frames of all streams come at once, as from cameras that are triggered together.
// Random: one at a time.
void BM_ManyStreams_ToCallback(benchmark::State &state)
{
    const bool isRandom = state.range(0) != 0;
    const auto streams = static_cast<unsigned int>(state.range(1));
    Library library;
    Receiver receiver{library.context, {}};
    for (unsigned int i = 0; i < streams; ++i)
        library.open(i, &Receiver::onFrame, &receiver);
    const std::size_t burst = isRandom ? 1 : streams;
    measure(state, 1,
            [&](const std::vector<unsigned int> &frames, unsigned int among, FrameCost &cost) {
                const std::size_t each = std::min<std::size_t>(burst, among);
                for (std::size_t sent = 0; sent < frames.size(); sent += each) {
                    for (std::size_t i = 0; i < each; ++i) {
                        if (!library.deliver(frames[sent + i]))
                            state.SkipWithError("the pool has no frame");
                    }
                    for (std::size_t i = 0; i < each; ++i)
                        receiver.back.take();
                    cost.pause();
                }
            });
}

/// An application that waits for all of some streams at once, and reads the one that is ready.
class Reader {
public:
    Reader(const Library &library, std::vector<NubrixStream *> streams)
        : m_context(*library.context), m_streams(std::move(streams))
    {
        Library::symbol<BenchSetKeepLiveHook>("benchSetKeepLiveHook")(&Reader::onKeepLive, this);
        m_thread = std::thread([this] { run(); });
        m_listening.take();
    }
    ~Reader()
    {
        m_ending = true;
        m_thread.join();
        Library::symbol<BenchSetKeepLiveHook>("benchSetKeepLiveHook")(nullptr, nullptr);
    }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    /// From the next wait on.
    void waitForTheFirst(unsigned int streams) { m_among = streams; }
    /// Until it has read the frame that was delivered, and hears its streams again.
    void awaitReturn() { m_listening.take(); }

private:
    static void onKeepLive(void *self)
    {
        auto *const reader = static_cast<Reader *>(self);
        if (++reader->m_asked == reader->m_waitingFor)
            reader->m_listening.pass();
    }
    void run()
    {
        pthread_setname_np(pthread_self(), kReaderName);
        while (!m_ending) {
            m_waitingFor = m_among;
            m_asked = 0;
            NubrixStream *ready = nullptr;
            typedefNubrixFrame *frame = nullptr;
            if (m_context.waitForStreams(m_streams.data(), static_cast<int>(m_waitingFor), &ready,
                                         1000) == 0 &&
                m_context.readFrame(ready, &frame, 0) == 0)
                m_context.releaseFrame(frame);
        }
    }

    NubrixBaseContext &m_context;
    std::vector<NubrixStream *> m_streams;
    std::atomic<unsigned int> m_among{1};
    std::atomic<bool> m_ending{false};
    unsigned int m_waitingFor = 0;  // these two are of the reader's thread
    unsigned int m_asked = 0;
    Baton m_listening;
    std::thread m_thread;
};

// One frame at a time: those that come between two waits would not be waited for.
void BM_ManyStreams_ToWaiter(benchmark::State &state)
{
    Library library;
    std::vector<NubrixStream *> streams;
    for (unsigned int i = 0; i < state.range(1); ++i)
        streams.push_back(library.open(i, nullptr, nullptr));
    Reader reader(library, streams);
    const auto deliver = [&](unsigned int stream) {
        if (!library.deliver(stream))
            state.SkipWithError("the pool has no frame");
        reader.awaitReturn();
    };
    measure(state, 2,
            [&](const std::vector<unsigned int> &frames, unsigned int among, FrameCost &cost) {
                reader.waitForTheFirst(among);
                deliver(0);
                for (const unsigned int stream : frames) {
                    deliver(stream);
                    cost.pause();
                }
            });
}

void kinds(benchmark::internal::Benchmark *benchmark)
{
    benchmark->ArgNames({"random", "streams"})
        ->ArgsProduct({{0, 1}, {1, 8, 60}})
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}
BENCHMARK(BM_ManyStreams_ToCallback)->Apply(kinds);
BENCHMARK(BM_ManyStreams_ToWaiter)->Apply(kinds);

}  // namespace
