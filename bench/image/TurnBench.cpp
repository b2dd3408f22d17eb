// Rotations with a destination, and mirroring, against libyuv, OpenCV and a memcpy of the image.
// The peers mirror into another image.
#include "bench/image/ImageSizes.h"
#include "bench/image/Peers.h"
#include "nubrix/image.h"

namespace {

using nubrix::bench::compare;
using nubrix::bench::copyOf;
using nubrix::bench::Frame;
using nubrix::bench::Frames;
using nubrix::bench::pixels;

enum class Job { kClockwise90, kClockwise180, kAnticlockwise90, kMirror };

template <Job kJob, class T>
void turn(Frame &frame, int width, int height)
{
    T *const from = pixels<T>(frame.source);
    T *const to = pixels<T>(frame.target);
    switch (kJob) {
        case Job::kClockwise90:
            rotateClockwise90(from, width, height, to);
            break;
        case Job::kClockwise180:
            rotateClockwise180(from, width, height, to);
            break;
        case Job::kAnticlockwise90:
            rotateAnticlockwise90(from, width, height, to);
            break;
        case Job::kMirror:
            mirrorPixels(from, width, height);
            break;
    }
}

template <Job kJob, class T, class Peer>
void compareWith(benchmark::State &state, Frames &frames, const Peer &peer)
{
    compare(
        state, frames, [&](Frame &frame) { turn<kJob, T>(frame, frames.width(), frames.height()); },
        peer);
}

template <Job kJob, class T>
void BM_Turn_Memcpy(benchmark::State &state)
{
    Frames frames(state);
    compareWith<kJob, T>(state, frames, copyOf(sizeof(T) * frames.pixels()));
}

#define NUBRIX_BENCH_JOBS(function, T)                                             \
    BENCHMARK(function<Job::kClockwise90, T>)->Apply(nubrix::bench::anySizes);     \
    BENCHMARK(function<Job::kAnticlockwise90, T>)->Apply(nubrix::bench::anySizes); \
    BENCHMARK(function<Job::kClockwise180, T>)->Apply(nubrix::bench::anySizes);    \
    BENCHMARK(function<Job::kMirror, T>)->Apply(nubrix::bench::anySizes);
NUBRIX_BENCH_JOBS(BM_Turn_Memcpy, unsigned char)
NUBRIX_BENCH_JOBS(BM_Turn_Memcpy, unsigned short)
NUBRIX_BENCH_JOBS(BM_Turn_Memcpy, RGB888Pixel)

#ifdef NUBRIX_BENCH_LIBYUV
template <Job kJob, class T>
void turnWithLibyuv(Frame &frame, int width, int height)
{
    constexpr libyuv::RotationMode kModes[] = {libyuv::kRotate90, libyuv::kRotate180,
                                               libyuv::kRotate270};
    T *const from = pixels<T>(frame.source);
    T *const to = pixels<T>(frame.target);
    const int toWidth = kJob == Job::kClockwise180 ? width : height;
    if constexpr (sizeof(T) == 3)
        libyuv::RGB24Mirror(frame.source.data(), 3 * width, frame.target.data(), 3 * width, width,
                            height);
    else if constexpr (kJob == Job::kMirror)
        libyuv::MirrorPlane(from, width, to, width, width, height);
    else if constexpr (sizeof(T) == 1)
        libyuv::RotatePlane(from, width, to, toWidth, width, height,
                            kModes[static_cast<int>(kJob)]);
    else
        libyuv::RotatePlane_16(from, width, to, toWidth, width, height,
                               kModes[static_cast<int>(kJob)]);
}

template <Job kJob, class T>
void BM_Turn_Libyuv(benchmark::State &state)
{
    Frames frames(state);
    compareWith<kJob, T>(state, frames, [&](Frame &frame) {
        turnWithLibyuv<kJob, T>(frame, frames.width(), frames.height());
    });
}
NUBRIX_BENCH_JOBS(BM_Turn_Libyuv, unsigned char)
BENCHMARK(BM_Turn_Libyuv<Job::kClockwise90, unsigned short>)->Apply(nubrix::bench::anySizes);
BENCHMARK(BM_Turn_Libyuv<Job::kClockwise180, unsigned short>)->Apply(nubrix::bench::anySizes);
BENCHMARK(BM_Turn_Libyuv<Job::kAnticlockwise90, unsigned short>)->Apply(nubrix::bench::anySizes);
BENCHMARK(BM_Turn_Libyuv<Job::kMirror, RGB888Pixel>)->Apply(nubrix::bench::anySizes);
#endif

#ifdef NUBRIX_BENCH_OPENCV
template <Job kJob, class T>
void turnWithOpenCv(Frame &frame, int width, int height)
{
    constexpr int kTypes[] = {CV_8UC1, CV_16UC1, CV_8UC3};
    constexpr int kType = kTypes[sizeof(T) - 1];
    constexpr int kCodes[] = {cv::ROTATE_90_CLOCKWISE, cv::ROTATE_180,
                              cv::ROTATE_90_COUNTERCLOCKWISE};
    const cv::Mat from(height, width, kType, frame.source.data());
    const bool turned = kJob == Job::kClockwise90 || kJob == Job::kAnticlockwise90;
    cv::Mat to(turned ? width : height, turned ? height : width, kType, frame.target.data());
    if constexpr (kJob == Job::kMirror)
        cv::flip(from, to, 1);
    else
        cv::rotate(from, to, kCodes[static_cast<int>(kJob)]);
}

template <Job kJob, class T>
void BM_Turn_OpenCv(benchmark::State &state)
{
    Frames frames(state);
    compareWith<kJob, T>(state, frames, [&](Frame &frame) {
        turnWithOpenCv<kJob, T>(frame, frames.width(), frames.height());
    });
}
NUBRIX_BENCH_JOBS(BM_Turn_OpenCv, unsigned char)
NUBRIX_BENCH_JOBS(BM_Turn_OpenCv, unsigned short)
NUBRIX_BENCH_JOBS(BM_Turn_OpenCv, RGB888Pixel)
#endif

}  // namespace
