// The frames that a benchmark works on: always the same one, or eight in turn, as from a pool.
#pragma once

#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "bench/Ratio.h"
#include "cpu/CpuFeatures.h"

namespace nubrix::bench {

/// The same bytes each time. They are kept: to make them takes longer than most measurements.
inline std::vector<unsigned char> randomBytes(std::size_t size)
{
    static std::mt19937 random(1);
    static std::vector<unsigned char> bytes;
    while (bytes.size() < size)
        bytes.push_back(static_cast<unsigned char>(random()));
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

struct Frame {
    std::vector<unsigned char> source;   // random, 3 bytes a pixel
    std::vector<unsigned char> target;   // 3 bytes a pixel
    std::vector<unsigned char> between;  // 4 bytes a pixel, for peers that need a step more
};

class Frames {
public:
    explicit Frames(const benchmark::State &state)
        : m_width(static_cast<int>(state.range(0))),
          m_height(static_cast<int>(state.range(1))),
          m_frames(static_cast<std::size_t>(state.range(2)))
    {
        const auto pixels = static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height);
        for (Frame &frame : m_frames) {
            frame.source = randomBytes(3 * pixels);
            frame.target.resize(3 * pixels);
            frame.between.resize(4 * pixels);
        }
    }

    int width() const { return m_width; }
    int height() const { return m_height; }
    std::size_t pixels() const { return m_frames[0].between.size() / 4; }
    std::size_t count() const { return m_frames.size(); }
    Frame &operator[](std::size_t i) { return m_frames[i]; }

private:
    int m_width, m_height;
    std::vector<Frame> m_frames;
};

template <class T>
T *pixels(std::vector<unsigned char> &bytes)
{
    return static_cast<T *>(static_cast<void *>(bytes.data()));
}

/// Runs job(frame) and peer(frame) on all frames, one after another. NUBRIX_CPU chooses the
/// instruction set.
template <class Job, class Peer>
void compare(benchmark::State &state, Frames &frames, const Job &job, const Peer &peer)
{
    const auto run = [&frames](const auto &one) {
        for (std::size_t i = 0; i < frames.count(); ++i) {
            one(frames[i]);
            benchmark::ClobberMemory();
        }
    };
    measureAgainst(
        state, static_cast<int>(frames.count()), [&] { run(job); }, [&] { run(peer); });
    state.SetLabel(nameOf(instructionSet()));
}

/// memcpy of `bytes` into the target.
inline auto copyOf(std::size_t bytes)
{
    return [bytes](Frame &frame) { std::memcpy(frame.target.data(), frame.between.data(), bytes); };
}

inline void sizes(benchmark::internal::Benchmark *bench)
{
    bench->ArgNames({"width", "height", "frames"})
        ->ArgsProduct({{640}, {480}, {1, 8}})
        ->ArgsProduct({{1280}, {800}, {1, 8}})
        ->ArgsProduct({{1920}, {1080}, {1, 8}})
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

}  // namespace nubrix::bench
