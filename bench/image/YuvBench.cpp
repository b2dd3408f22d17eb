// The conversions from YUV to RGB against libyuv, OpenCV and a memcpy of the bytes that they write.
#include "bench/image/ImageSizes.h"
#include "bench/image/Peers.h"
#include "nubrix/image.h"

namespace {

using nubrix::bench::compare;
using nubrix::bench::copyOf;
using nubrix::bench::Frame;
using nubrix::bench::Frames;

// Colours at the ends of their range, as overexposed and dark places have them: sums are clamped in
// both directions, at random.
void saturate(Frames &frames)
{
    for (std::size_t i = 0; i < frames.count(); ++i) {
        for (unsigned char &byte : frames[i].source)
            byte = byte < 128 ? 0 : 255;
    }
}

enum class Format { kI420, kNv21, kYuyv, kUyvy };

template <Format kFormat>
void convert(Frame &frame, int width, int height)
{
    unsigned char *const rgb = frame.target.data();
    unsigned char *const yuv = frame.source.data();
    const auto bytes = 2 * static_cast<unsigned int>(width) * static_cast<unsigned int>(height);
    unsigned int consumed = 0;
    unsigned int produced = bytes / 2 * 3;
    switch (kFormat) {
        case Format::kI420:
            YUVI420ToRGB888(rgb, yuv, width, height);
            break;
        case Format::kNv21:
            YUVNV21ToRGB888(rgb, yuv, width, height);
            break;
        case Format::kYuyv:
            YUV422ToRGB(rgb, yuv, static_cast<unsigned int>(width),
                        static_cast<unsigned int>(height));
            break;
        case Format::kUyvy:
            YUV422ToRGB888(yuv, rgb, bytes, &consumed, &produced);
            break;
    }
}

template <Format kFormat>
void BM_YuvToRgb_Memcpy(benchmark::State &state)
{
    Frames frames(state);
    compare(
        state, frames,
        [&](Frame &frame) { convert<kFormat>(frame, frames.width(), frames.height()); },
        copyOf(3 * frames.pixels()));
}
BENCHMARK(BM_YuvToRgb_Memcpy<Format::kI420>)->Apply(nubrix::bench::pairSizes);
BENCHMARK(BM_YuvToRgb_Memcpy<Format::kNv21>)->Apply(nubrix::bench::pairSizes);
BENCHMARK(BM_YuvToRgb_Memcpy<Format::kYuyv>)->Apply(nubrix::bench::pairSizes);
BENCHMARK(BM_YuvToRgb_Memcpy<Format::kUyvy>)->Apply(nubrix::bench::pairSizes);

#ifdef NUBRIX_BENCH_LIBYUV
template <Format kFormat>
void convertWithLibyuv(Frame &frame, int width, int height)
{
    const unsigned char *const luma = frame.source.data();
    const unsigned char *const u = luma + width * height;
    const unsigned char *const v = u + width * height / 4;
    unsigned char *const rgb = frame.target.data();
    unsigned char *const argb = frame.between.data();
    switch (kFormat) {
        case Format::kI420:
            libyuv::I420ToRAW(luma, width, u, width / 2, v, width / 2, rgb, 3 * width, width,
                              height);
            break;
        case Format::kNv21:
            libyuv::NV21ToRAW(luma, width, u, width, rgb, 3 * width, width, height);
            break;
        case Format::kYuyv:
            libyuv::YUY2ToARGB(luma, 2 * width, argb, 4 * width, width, height);
            libyuv::ARGBToRAW(argb, 4 * width, rgb, 3 * width, width, height);
            break;
        case Format::kUyvy:
            libyuv::UYVYToARGB(luma, 2 * width, argb, 4 * width, width, height);
            libyuv::ARGBToRAW(argb, 4 * width, rgb, 3 * width, width, height);
            break;
    }
}

template <Format kFormat>
void compareWithLibyuv(benchmark::State &state, Frames &frames)
{
    compare(
        state, frames,
        [&](Frame &frame) { convert<kFormat>(frame, frames.width(), frames.height()); },
        [&](Frame &frame) { convertWithLibyuv<kFormat>(frame, frames.width(), frames.height()); });
}

template <Format kFormat>
void BM_YuvToRgb_Libyuv(benchmark::State &state)
{
    Frames frames(state);
    compareWithLibyuv<kFormat>(state, frames);
}
BENCHMARK(BM_YuvToRgb_Libyuv<Format::kI420>)->Apply(nubrix::bench::pairSizes);
BENCHMARK(BM_YuvToRgb_Libyuv<Format::kNv21>)->Apply(nubrix::bench::pairSizes);
BENCHMARK(BM_YuvToRgb_Libyuv<Format::kYuyv>)->Apply(nubrix::bench::pairSizes);
BENCHMARK(BM_YuvToRgb_Libyuv<Format::kUyvy>)->Apply(nubrix::bench::pairSizes);

template <Format kFormat>
void BM_SaturatedYuvToRgb_Libyuv(benchmark::State &state)
{
    Frames frames(state);
    saturate(frames);
    compareWithLibyuv<kFormat>(state, frames);
}
BENCHMARK(BM_SaturatedYuvToRgb_Libyuv<Format::kI420>)->Apply(nubrix::bench::pairSizes);
BENCHMARK(BM_SaturatedYuvToRgb_Libyuv<Format::kNv21>)->Apply(nubrix::bench::pairSizes);
BENCHMARK(BM_SaturatedYuvToRgb_Libyuv<Format::kYuyv>)->Apply(nubrix::bench::pairSizes);
BENCHMARK(BM_SaturatedYuvToRgb_Libyuv<Format::kUyvy>)->Apply(nubrix::bench::pairSizes);
#endif

#ifdef NUBRIX_BENCH_OPENCV
template <Format kFormat>
void convertWithOpenCv(Frame &frame, int width, int height)
{
    constexpr bool kPlanes = kFormat == Format::kI420 || kFormat == Format::kNv21;
    constexpr int kCodes[] = {cv::COLOR_YUV2RGB_I420, cv::COLOR_YUV2RGB_NV21,
                              cv::COLOR_YUV2RGB_YUY2, cv::COLOR_YUV2RGB_UYVY};
    const cv::Mat from(kPlanes ? height * 3 / 2 : height, width, kPlanes ? CV_8UC1 : CV_8UC2,
                       frame.source.data());
    cv::Mat to(height, width, CV_8UC3, frame.target.data());
    cv::cvtColor(from, to, kCodes[static_cast<int>(kFormat)]);
}

template <Format kFormat>
void BM_YuvToRgb_OpenCv(benchmark::State &state)
{
    Frames frames(state);
    compare(
        state, frames,
        [&](Frame &frame) { convert<kFormat>(frame, frames.width(), frames.height()); },
        [&](Frame &frame) { convertWithOpenCv<kFormat>(frame, frames.width(), frames.height()); });
}
BENCHMARK(BM_YuvToRgb_OpenCv<Format::kI420>)->Apply(nubrix::bench::pairSizes);
BENCHMARK(BM_YuvToRgb_OpenCv<Format::kNv21>)->Apply(nubrix::bench::pairSizes);
BENCHMARK(BM_YuvToRgb_OpenCv<Format::kYuyv>)->Apply(nubrix::bench::pairSizes);
BENCHMARK(BM_YuvToRgb_OpenCv<Format::kUyvy>)->Apply(nubrix::bench::pairSizes);
#endif

}  // namespace
