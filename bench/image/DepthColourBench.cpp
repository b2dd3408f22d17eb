// The colouring of depth frames compared with OpenCV, which equalises 8 bits and then colours them
// by a table, with the loop that one would write without this library, and with a memcpy of the
// bytes that are written; on images of several kinds.
#include "bench/DepthImages.h"
#include "bench/Frames.h"
#include "bench/image/Peers.h"
#include "nubrix/image.h"

namespace {

using nubrix::bench::compare;
using nubrix::bench::copyOf;
using nubrix::bench::DepthKind;
using nubrix::bench::Frame;
using nubrix::bench::Frames;
using nubrix::bench::pixels;

constexpr int kDepths = 65536;

/// Frames of one kind, and a histogram for each of two that colour them.
struct DepthFrames {
    DepthFrames(const benchmark::State &state, DepthKind kind) : frames(state)
    {
        for (std::size_t i = 0; i < frames.count(); ++i) {
            fillWithDepths(pixels<unsigned short>(frames[i].source), frames.width(),
                           frames.height(), kind);
        }
    }
    typedefNubrixFrame depthsOf(Frame &frame) const
    {
        typedefNubrixFrame depths = {};
        depths.width = frames.width();
        depths.height = frames.height();
        depths.data = frame.source.data();
        return depths;
    }
    void colour(Frame &frame)
    {
        unsigned int bytes = 0;
        Depth2RGB888(pixels<RGB888Pixel>(frame.target), &bytes, histogram.data(), kDepths,
                     depthsOf(frame));
    }

    Frames frames;
    std::vector<float> histogram = std::vector<float>(kDepths);
    std::vector<float> otherHistogram = std::vector<float>(kDepths);
};

/// The same result by the shortest program: counts, sums and colours one after another.
void plainLoop(RGB888Pixel *rgb, std::vector<float> &histogram, const unsigned short *depths,
               std::size_t count)
{
    static std::vector<int> nearer(kDepths);
    std::fill(nearer.begin(), nearer.end(), 0);
    int counted = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (depths[i] != 0) {
            ++nearer[depths[i]];
            ++counted;
        }
    }
    for (std::size_t i = 1; i < nearer.size(); ++i) {
        nearer[i] += nearer[i - 1];
        histogram[i] = (1.0F - static_cast<float>(nearer[i]) / static_cast<float>(counted)) * 256;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (depths[i] != 0) {
            const auto level = static_cast<unsigned char>(histogram[depths[i]]);
            rgb[i] = {level, level, 0};
        }
    }
}

template <DepthKind kKind>
void BM_DepthColour_PlainLoop(benchmark::State &state)
{
    DepthFrames depths(state, kKind);
    compare(
        state, depths.frames, [&](Frame &frame) { depths.colour(frame); },
        [&](Frame &frame) {
            plainLoop(pixels<RGB888Pixel>(frame.target), depths.otherHistogram,
                      pixels<unsigned short>(frame.source), depths.frames.pixels());
        });
}

#ifdef NUBRIX_BENCH_OPENCV
template <DepthKind kKind>
void BM_DepthColour_OpenCv(benchmark::State &state)
{
    DepthFrames depths(state, kKind);
    const cv::Size size(depths.frames.width(), depths.frames.height());
    cv::Mat narrow(size, CV_8UC1);
    cv::Mat equal(size, CV_8UC1);
    compare(
        state, depths.frames, [&](Frame &frame) { depths.colour(frame); },
        [&](Frame &frame) {
            const cv::Mat depth(size, CV_16UC1, frame.source.data());
            cv::Mat rgb(size, CV_8UC3, frame.target.data());
            depth.convertTo(narrow, CV_8U, 1.0 / 256);
            cv::equalizeHist(narrow, equal);
            cv::applyColorMap(equal, rgb, cv::COLORMAP_AUTUMN);
        });
}
#endif

template <DepthKind kKind>
void BM_Histogram_Memcpy(benchmark::State &state)
{
    DepthFrames depths(state, kKind);
    compare(
        state, depths.frames,
        [&](Frame &frame) {
            calculateHistogram(depths.histogram.data(), kDepths, depths.depthsOf(frame));
        },
        copyOf(2 * depths.frames.pixels()));
}

void depthSizes(benchmark::internal::Benchmark *bench)
{
    bench->ArgNames({"width", "height", "frames"})
        ->ArgsProduct({{640}, {480}, {1, 8}})
        ->ArgsProduct({{1280}, {800}, {1, 8}})
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

#define NUBRIX_BENCH_KINDS(job)                               \
    BENCHMARK(job<DepthKind::kSmooth>)->Apply(depthSizes);    \
    BENCHMARK(job<DepthKind::kNoisy>)->Apply(depthSizes);     \
    BENCHMARK(job<DepthKind::kScattered>)->Apply(depthSizes); \
    BENCHMARK(job<DepthKind::kHalf>)->Apply(depthSizes);      \
    BENCHMARK(job<DepthKind::kRandom>)->Apply(depthSizes)

NUBRIX_BENCH_KINDS(BM_DepthColour_PlainLoop);
#ifdef NUBRIX_BENCH_OPENCV
NUBRIX_BENCH_KINDS(BM_DepthColour_OpenCv);
#endif
BENCHMARK(BM_Histogram_Memcpy<DepthKind::kNoisy>)->Apply(depthSizes);
BENCHMARK(BM_Histogram_Memcpy<DepthKind::kRandom>)->Apply(depthSizes);

}  // namespace
