// The frame pool against an uncontended lock and unlock of the lock it uses.
#include <atomic>
#include <thread>

#include "base/CriticalSectionImpl.h"
#include "bench/Ratio.h"
#include "stream/FrameAllocator.h"

namespace {

constexpr int kOperations = 10000;
constexpr unsigned int kFrameBytes = 640 * 480 * 2;

/// Three spare frames and more: from here on the pool reuses.
void warm(nubrix::FrameAllocator &pool)
{
    nubrix::InternalFrame *frames[4];
    for (auto *&frame : frames)
        frame = pool.allocOneFrame();
    for (auto *frame : frames)
        frame->release();
}

void allocRelease(nubrix::FrameAllocator &pool)
{
    nubrix::InternalFrame *frame = pool.allocOneFrame();
    benchmark::DoNotOptimize(frame);
    frame->release();
}

void enterLeave(nubrix::CriticalSectionImpl &lock)
{
    lock.enter();
    benchmark::ClobberMemory();
    lock.leave();
}

void BM_FrameAllocator_AllocRelease(benchmark::State &state)
{
    nubrix::FrameAllocator pool(kFrameBytes, 4, 10);
    warm(pool);
    nubrix::CriticalSectionImpl lock;
    nubrix::bench::measureAgainst(
        state, kOperations,
        [&] {
            for (int i = 0; i < kOperations; ++i)
                allocRelease(pool);
        },
        [&] {
            for (int i = 0; i < kOperations; ++i)
                enterLeave(lock);
        });
}
BENCHMARK(BM_FrameAllocator_AllocRelease)->UseManualTime()->Unit(benchmark::kMicrosecond);

/// Runs the job in a loop on a thread of its own until it ends.
template <class Job>
class Rival {
public:
    explicit Rival(const Job &job)
        : m_thread([this, job] {
              while (!m_ending)
                  job();
          })
    {
    }
    ~Rival()
    {
        m_ending = true;
        m_thread.join();
    }
    Rival(const Rival &) = delete;
    Rival &operator=(const Rival &) = delete;

private:
    std::atomic<bool> m_ending{false};
    std::thread m_thread;
};

/// As many operations, while another thread does the same all the time.
template <class Job>
void repeatWithRival(const Job &job)
{
    const Rival rival(job);
    for (int i = 0; i < kOperations; ++i)
        job();
}

// Against the lock alone in the same way; starting and joining the rival belongs to both.
void BM_FrameAllocator_Contended(benchmark::State &state)
{
    nubrix::FrameAllocator pool(kFrameBytes, 4, 10);
    warm(pool);
    nubrix::CriticalSectionImpl lock;
    nubrix::bench::measureAgainst(
        state, kOperations, [&] { repeatWithRival([&] { allocRelease(pool); }); },
        [&] { repeatWithRival([&] { enterLeave(lock); }); });
}
BENCHMARK(BM_FrameAllocator_Contended)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
