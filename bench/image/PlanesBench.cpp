// Images of 4:2:0 with a destination (which overwrites the source as well) against libyuv,
// rotations in place and crops against a memcpy of the image.
#include "bench/image/ImageSizes.h"
#include "bench/image/Peers.h"
#include "nubrix/image.h"

namespace {

using nubrix::bench::compare;
using nubrix::bench::copyOf;
using nubrix::bench::Frame;
using nubrix::bench::Frames;
using nubrix::bench::pixels;

// The buffer of a rotation in place holds 1920 x 1080 pixels.
void BM_InPlace_Clockwise90_Memcpy(benchmark::State &state)
{
    Frames frames(state);
    compare(
        state, frames,
        [&](Frame &frame) {
            rotateClockwise90(pixels<RGB888Pixel>(frame.source), frames.width(), frames.height(),
                              nullptr);
        },
        copyOf(3 * frames.pixels()));
}
BENCHMARK(BM_InPlace_Clockwise90_Memcpy)->Apply(nubrix::bench::sizes);

// Rows of three quarters of the width.
void BM_Resize_Memcpy(benchmark::State &state)
{
    Frames frames(state);
    const auto width = static_cast<unsigned int>(frames.width());
    const auto height = static_cast<unsigned int>(frames.height());
    compare(
        state, frames,
        [&](Frame &frame) {
            resizeImage(pixels<unsigned short>(frame.target), width * 3 / 4, height,
                        pixels<unsigned short>(frame.source), width, height);
        },
        copyOf(2 * frames.pixels() * 3 / 4));
}
BENCHMARK(BM_Resize_Memcpy)->Apply(nubrix::bench::pairSizes);

#ifdef NUBRIX_BENCH_LIBYUV
void rotateWithLibyuv(Frame &frame, int width, int height)
{
    const int chroma = width * height / 4;
    const unsigned char *const from = frame.source.data();
    unsigned char *const to = frame.target.data();
    libyuv::I420Rotate(from, width, from + 4 * chroma, width / 2, from + 5 * chroma, width / 2, to,
                       height, to + 4 * chroma, height / 2, to + 5 * chroma, height / 2, width,
                       height, libyuv::kRotate90);
}

void BM_Planar_Clockwise90_Libyuv(benchmark::State &state)
{
    Frames frames(state);
    compare(
        state, frames,
        [&](Frame &frame) {
            rotateClockwise90_YUV420P(frame.source.data(), frames.width(), frames.height(),
                                      frame.target.data());
        },
        [&](Frame &frame) { rotateWithLibyuv(frame, frames.width(), frames.height()); });
}
BENCHMARK(BM_Planar_Clockwise90_Libyuv)->Apply(nubrix::bench::pairSizes);

void BM_Planar_Mirror_Libyuv(benchmark::State &state)
{
    Frames frames(state);
    const int width = frames.width();
    const int height = frames.height();
    const int chroma = width * height / 4;
    compare(
        state, frames,
        [&](Frame &frame) { mirrorPixels_YUV420P(frame.source.data(), width, height); },
        [&](Frame &frame) {
            const unsigned char *const from = frame.source.data();
            unsigned char *const to = frame.target.data();
            libyuv::I420Mirror(from, width, from + 4 * chroma, width / 2, from + 5 * chroma,
                               width / 2, to, width, to + 4 * chroma, width / 2, to + 5 * chroma,
                               width / 2, width, height);
        });
}
BENCHMARK(BM_Planar_Mirror_Libyuv)->Apply(nubrix::bench::pairSizes);
#endif

}  // namespace
