// The frame pool against an uncontended lock and unlock of the lock it uses.
#include "base/CriticalSectionImpl.h"
#include "bench/Ratio.h"
#include "stream/FrameAllocator.h"

namespace {

constexpr int kOperations = 10000;
constexpr unsigned int kFrameBytes = 640 * 480 * 2;

void BM_FrameAllocator_AllocRelease(benchmark::State &state)
{
    nubrix::FrameAllocator pool(kFrameBytes, 4, 10);
    // Three spare frames and more: from here on the pool reuses.
    nubrix::InternalFrame *frames[4];
    for (auto *&frame : frames)
        frame = pool.allocOneFrame();
    for (auto *frame : frames)
        frame->release();
    nubrix::CriticalSectionImpl lock;

    nubrix::bench::measureAgainst(
        state, kOperations,
        [&] {
            for (int i = 0; i < kOperations; ++i) {
                nubrix::InternalFrame *frame = pool.allocOneFrame();
                benchmark::DoNotOptimize(frame);
                frame->release();
            }
        },
        [&] {
            for (int i = 0; i < kOperations; ++i) {
                lock.enter();
                benchmark::ClobberMemory();
                lock.leave();
            }
        });
}
BENCHMARK(BM_FrameAllocator_AllocRelease)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
