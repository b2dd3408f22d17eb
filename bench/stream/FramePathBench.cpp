// The path of a frame from the driver's thread to the application, against a bare hand-over between
// two threads.
#include <atomic>
#include <thread>

#include "bench/Ratio.h"
#include "bench/stream/BenchLibrary.h"

namespace {

using nubrix::bench::Baton;
using nubrix::bench::Library;
using nubrix::bench::Receiver;
using nubrix::bench::Relay;

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

}  // namespace
