// The conversions to point clouds compared with a memcpy of the bytes that they write (12 a pixel,
// 28 with colours), to the same place. NUBRIX_CPU chooses the instruction set.
#include <cstring>
#include <random>
#include <vector>

#include "bench/Ratio.h"
#include "cloud/PointCloud.h"
#include "cpu/CpuFeatures.h"

namespace {

struct Buffers {
    explicit Buffers(const benchmark::State &state)
        : width(static_cast<unsigned int>(state.range(0))),
          height(static_cast<unsigned int>(state.range(1))),
          depth(width * height),
          points(depth.size()),
          colours(depth.size()),
          otherPoints(depth.size()),
          otherColours(depth.size())
    {
        // A slope with some noise and a hole here and there, as a camera gives it.
        std::mt19937 random(1);
        for (std::size_t i = 0; i < depth.size(); ++i) {
            const auto slope = static_cast<unsigned int>(8000 + 16 * (i / width));
            depth[i] = static_cast<unsigned short>(random() % 50 == 0 ? 0 : slope + random() % 64);
        }
    }

    unsigned int width;
    unsigned int height;
    std::vector<unsigned short> depth;
    std::vector<typedefNubrixPoint3D> points;
    std::vector<typedefNubrixRGBA> colours;
    std::vector<typedefNubrixPoint3D> otherPoints;
    std::vector<typedefNubrixRGBA> otherColours;
};

template <class Record>
void copy(std::vector<Record> &to, const std::vector<Record> &from)
{
    std::memcpy(to.data(), from.data(), from.size() * sizeof(Record));
    benchmark::ClobberMemory();
}

void setInstructions(benchmark::State &state)
{
    state.SetLabel(nubrix::nameOf(nubrix::instructionSet()));
}

void BM_PointCloud_Plain(benchmark::State &state)
{
    Buffers buffers(state);
    nubrix::bench::measureAgainst(
        state, 1,
        [&] {
            nubrix::convertToPointCloud(buffers.depth.data(), buffers.width, buffers.height,
                                        {1000, 425, 425, 320, 240}, buffers.points.data(), 1, true);
            benchmark::ClobberMemory();
        },
        [&] { copy(buffers.points, buffers.otherPoints); });
    setInstructions(state);
}

void BM_PointCloud_WithColours(benchmark::State &state)
{
    Buffers buffers(state);
    nubrix::bench::measureAgainst(
        state, 1,
        [&] {
            nubrix::convertToPointCloudWithColours(buffers.depth.data(), buffers.width,
                                                   buffers.height, 1000, buffers.points.data(),
                                                   buffers.colours.data(), 1);
            benchmark::ClobberMemory();
        },
        [&] {
            copy(buffers.points, buffers.otherPoints);
            copy(buffers.colours, buffers.otherColours);
        });
    setInstructions(state);
}

void sizes(benchmark::internal::Benchmark *bench)
{
    bench->ArgNames({"width", "height"})
        ->Args({640, 480})
        ->Args({1280, 800})
        ->Args({1920, 1080})
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}
BENCHMARK(BM_PointCloud_Plain)->Apply(sizes);
BENCHMARK(BM_PointCloud_WithColours)->Apply(sizes);

}  // namespace
