// The colouring of depth frames compared with OpenCV, which equalises 8 bits and then colours them
// by a table, and a memcpy of the bytes that are written.
#include "bench/Frames.h"
#include "bench/image/Peers.h"
#include "nubrix/image.h"

namespace {

using nubrix::bench::compare;
using nubrix::bench::copyOf;
using nubrix::bench::Frame;
using nubrix::bench::Frames;

constexpr int kDepths = 65536;

// A slope with some noise and a hole here and there, as a camera gives it.
void fillWithDepths(Frames &frames)
{
    std::mt19937 random(1);
    for (std::size_t i = 0; i < frames.count(); ++i) {
        auto *const depths =
            static_cast<unsigned short *>(static_cast<void *>(frames[i].source.data()));
        for (std::size_t pixel = 0; pixel < frames.pixels(); ++pixel) {
            const std::size_t row = pixel / static_cast<std::size_t>(frames.width());
            const std::size_t depth = 8000 + 16 * row + random() % 64;
            const bool hole = random() % 400 == 0;
            depths[pixel] = static_cast<unsigned short>(hole ? 0 : depth);
        }
    }
}

class Colouring {
public:
    explicit Colouring(const Frames &frames) : m_histogram(kDepths)
    {
        m_frame.width = frames.width();
        m_frame.height = frames.height();
    }
    void operator()(Frame &frame)
    {
        m_frame.data = frame.source.data();
        unsigned int bytes = 0;
        Depth2RGB888(static_cast<RGB888Pixel *>(static_cast<void *>(frame.target.data())), &bytes,
                     m_histogram.data(), kDepths, m_frame);
    }

private:
    typedefNubrixFrame m_frame = {};
    std::vector<float> m_histogram;
};

void BM_DepthColour_Memcpy(benchmark::State &state)
{
    Frames frames(state);
    fillWithDepths(frames);
    Colouring colouring(frames);
    compare(
        state, frames, [&](Frame &frame) { colouring(frame); }, copyOf(3 * frames.pixels()));
}
BENCHMARK(BM_DepthColour_Memcpy)->Apply(nubrix::bench::sizes);

void BM_Histogram_Memcpy(benchmark::State &state)
{
    Frames frames(state);
    fillWithDepths(frames);
    std::vector<float> histogram(kDepths);
    typedefNubrixFrame depths = {};
    depths.width = frames.width();
    depths.height = frames.height();
    compare(
        state, frames,
        [&](Frame &frame) {
            depths.data = frame.source.data();
            calculateHistogram(histogram.data(), kDepths, depths);
        },
        copyOf(2 * frames.pixels()));
}
BENCHMARK(BM_Histogram_Memcpy)->Apply(nubrix::bench::sizes);

#ifdef NUBRIX_BENCH_OPENCV
void BM_DepthColour_OpenCv(benchmark::State &state)
{
    Frames frames(state);
    fillWithDepths(frames);
    Colouring colouring(frames);
    const cv::Size size(frames.width(), frames.height());
    cv::Mat narrow(size, CV_8UC1);
    cv::Mat equal(size, CV_8UC1);
    compare(
        state, frames, [&](Frame &frame) { colouring(frame); },
        [&](Frame &frame) {
            const cv::Mat depth(size, CV_16UC1, frame.source.data());
            cv::Mat rgb(size, CV_8UC3, frame.target.data());
            depth.convertTo(narrow, CV_8U, 1.0 / 256);
            cv::equalizeHist(narrow, equal);
            cv::applyColorMap(equal, rgb, cv::COLORMAP_AUTUMN);
        });
}
BENCHMARK(BM_DepthColour_OpenCv)->Apply(nubrix::bench::sizes);
#endif

}  // namespace
