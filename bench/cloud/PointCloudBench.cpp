// The conversions to point clouds compared with a memcpy of the bytes that they write (12 a pixel,
// 28 with colours), to the same place; on images of several kinds. NUBRIX_CPU chooses the
// instruction set.
#include <cstring>
#include <vector>

#include "bench/DepthImages.h"
#include "bench/Ratio.h"
#include "cloud/PointCloud.h"
#include "cpu/CpuFeatures.h"

namespace {

using nubrix::bench::DepthKind;

struct Buffers {
    Buffers(const benchmark::State &state, DepthKind kind)
        : width(static_cast<unsigned int>(state.range(0))),
          height(static_cast<unsigned int>(state.range(1))),
          depth(width * height),
          points(depth.size()),
          colours(depth.size()),
          otherPoints(depth.size()),
          otherColours(depth.size())
    {
        fillWithDepths(depth.data(), static_cast<int>(width), static_cast<int>(height), kind);
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

template <DepthKind kKind>
void BM_PointCloud_Plain(benchmark::State &state)
{
    Buffers buffers(state, kKind);
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

template <DepthKind kKind>
void BM_PointCloud_WithColours(benchmark::State &state)
{
    Buffers buffers(state, kKind);
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
// Without holes, with some, with many, and with depths beyond the limits.
BENCHMARK(BM_PointCloud_Plain<DepthKind::kNoisy>)->Apply(sizes);
BENCHMARK(BM_PointCloud_Plain<DepthKind::kScattered>)->Apply(sizes);
BENCHMARK(BM_PointCloud_Plain<DepthKind::kHalf>)->Apply(sizes);
BENCHMARK(BM_PointCloud_Plain<DepthKind::kRandom>)->Apply(sizes);
BENCHMARK(BM_PointCloud_WithColours<DepthKind::kScattered>)->Apply(sizes);
BENCHMARK(BM_PointCloud_WithColours<DepthKind::kRandom>)->Apply(sizes);

}  // namespace
