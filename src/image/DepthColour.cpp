// The public colouring of depth frames.
#include "image/DepthHistogram.h"
#include "image/ImagePlain.h"

namespace {

nubrix::DepthView depthsOf(const typedefNubrixFrame &frame)
{
    std::size_t count = 0;
    if (frame.width > 0 && frame.height > 0)
        count = static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
    return {static_cast<const unsigned short *>(frame.data), count};
}

}  // namespace

void calculateHistogram(float *histogram, int size, const typedefNubrixFrame &frame)
{
    if (!histogram || !frame.data)
        return;
    const nubrix::DepthView depths = depthsOf(frame);
    nubrix::DepthHistogram counts(nubrix::depthKernelOf(nubrix::instructionSet()));
    if (!counts.fill(histogram, size, depths))
        nubrix::plainHistogram(histogram, size, depths.values, depths.count);
}

void Depth2RGB888(RGB888Pixel *rgb, unsigned int *bytes, float *histogram, int size,
                  const typedefNubrixFrame &frame)
{
    if (!rgb || !bytes || !histogram || !frame.data)
        return;
    const nubrix::DepthView depths = depthsOf(frame);
    nubrix::DepthHistogram counts(nubrix::depthKernelOf(nubrix::instructionSet()));
    if (counts.fill(histogram, size, depths)) {
        counts.colour(rgb, depths);
    } else {
        nubrix::plainHistogram(histogram, size, depths.values, depths.count);
        nubrix::plainColours(rgb, depths.values, depths.count, histogram);
    }
    *bytes = static_cast<unsigned int>(depths.count * sizeof(*rgb));
}
