// The conversions to point clouds as plain formulas: what every kernel is held to, and what runs
// where there is none.
#pragma once

#include "cloud/PointCloud.h"

namespace nubrix {

/// What is added to a pixel's column and row before it is projected, by the width of the image.
struct CloudOffset {
    unsigned int column, row;
};
CloudOffset cloudOffset(unsigned int width);

/// convertToPointCloud for a camera whose numbers are all above 0.
void plainCloud(const unsigned short *depth, unsigned int width, unsigned int height,
                const CloudCamera &camera, typedefNubrixPoint3D *points, unsigned int pixelType,
                bool limitRange);

/// convertRowsWithColours.
void plainCloudWithColours(const unsigned short *depth, unsigned int width, unsigned int rowBegin,
                           unsigned int rowEnd, const CloudCamera &camera,
                           typedefNubrixPoint3D *points, typedefNubrixRGBA *colours,
                           unsigned int pixelType);

}  // namespace nubrix
