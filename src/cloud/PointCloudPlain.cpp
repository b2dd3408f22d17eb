#include "cloud/PointCloudPlain.h"

#include <cstddef>

#include "image/ColorBoard.h"

namespace nubrix {

namespace {

float depthOf(unsigned short raw, unsigned int pixelType)
{
    const double depth = raw;
    switch (pixelType) {
        case 1:
            return static_cast<float>(depth * 0.0625);
        case 2:
            return static_cast<float>(depth * 0.125);
        default:
            return static_cast<float>(depth * 0.25);
    }
}

float depthLimit(unsigned int pixelType)
{
    switch (pixelType) {
        case 1:
            return 4095.0F;
        case 2:
            return 8191.0F;
        default:
            return 16383.0F;
    }
}

// 0: there is none.
unsigned int wholeDepthOf(unsigned int raw, unsigned int pixelType)
{
    switch (pixelType) {
        case 1:
            return raw >> 4 == 4095 ? 0 : raw >> 4;
        case 2:
            // Kept: 4000, though without colours depths reach to 8191. See docs/oddities.md.
            return raw >> 3 >= 4000 ? 0 : raw >> 3;
        default:
            return raw >> 2 == 16383 ? 0 : raw >> 2;
    }
}

}  // namespace

CloudOffset cloudOffset(unsigned int width)
{
    // Kept: these widths are cut-outs of a larger picture. See docs/oddities.md.
    switch (width) {
        case 284:
            return {25, 12};
        case 568:
            return {50, 25};
        case 1136:
            return {100, 50};
        default:
            return {0, 0};
    }
}

void plainCloud(const unsigned short *depth, unsigned int width, unsigned int height,
                const CloudCamera &camera, typedefNubrixPoint3D *points, unsigned int pixelType,
                bool limitRange)
{
    const CloudOffset offset = cloudOffset(width);
    for (unsigned int row = 0; row < height; ++row) {
        const auto v = static_cast<float>(row + offset.row);
        for (unsigned int column = 0; column < width; ++column, ++depth, ++points) {
            const auto u = static_cast<float>(column + offset.column);
            const float d = depthOf(*depth, pixelType);
            if ((limitRange && d >= depthLimit(pixelType)) || !(d > 0.0F)) {
                *points = {0.0F, 0.0F, 0.0F};
                continue;
            }
            const float z = d / camera.s;
            *points = {z * (u - camera.cx) / camera.fx, z * (v - camera.cy) / camera.fy, z};
        }
    }
}

void plainCloudWithColours(const unsigned short *depth, unsigned int width, unsigned int rowBegin,
                           unsigned int rowEnd, const CloudCamera &camera,
                           typedefNubrixPoint3D *points, typedefNubrixRGBA *colours,
                           unsigned int pixelType)
{
    const typedefNubrixRGBA *const board = colorBoard();
    for (unsigned int row = rowBegin; row < rowEnd; ++row) {
        const auto r = static_cast<float>(row);
        for (unsigned int column = 0; column < width; ++column) {
            const std::size_t i = std::size_t{row} * width + column;
            const auto c = static_cast<float>(column);
            const unsigned int q = wholeDepthOf(depth[i], pixelType);
            if (q == 0) {
                points[i] = {0.0F, 0.0F, 0.0F};
                colours[i] = {0.0F, 0.0F, 0.0F, 1.0F};
                continue;
            }
            const float w = static_cast<float>(q) / camera.s;
            // Kept: y and z are negated here, unlike in plainCloud. See docs/oddities.md.
            points[i] = {w * (c - camera.cx) / camera.fx, -((r - camera.cy) * w) / camera.fy, -w};
            if (q > 4094)
                colours[i] = {1.0F, 0.0F, 0.0F, 1.0F};
            else
                colours[i] = board[q];
        }
    }
}

}  // namespace nubrix
