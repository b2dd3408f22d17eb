// The public colouring of depth frames.
#include "image/DepthColourPlain.h"

namespace {

std::size_t pixelsOf(const typedefNubrixFrame &frame)
{
    if (frame.width <= 0 || frame.height <= 0)
        return 0;
    return static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
}

const unsigned short *depthOf(const typedefNubrixFrame &frame)
{
    return static_cast<const unsigned short *>(frame.data);
}

}  // namespace

void calculateHistogram(float *histogram, int size, const typedefNubrixFrame &frame)
{
    if (!histogram || !frame.data)
        return;
    nubrix::plainHistogram(histogram, size, depthOf(frame), pixelsOf(frame));
}

void Depth2RGB888(RGB888Pixel *rgb, unsigned int *bytes, float *histogram, int size,
                  const typedefNubrixFrame &frame)
{
    if (!rgb || !bytes || !histogram || !frame.data)
        return;
    calculateHistogram(histogram, size, frame);
    nubrix::plainColours(rgb, depthOf(frame), pixelsOf(frame), histogram);
    *bytes = static_cast<unsigned int>(pixelsOf(frame) * sizeof(*rgb));
}
