// Depth images to point clouds. docs/pointcloud.md sets the conversions side by side.
#pragma once

#include "cpu/CpuFeatures.h"
#include "nubrix/types.h"

namespace nubrix {

/// s divides a depth into the unit of the points; the rest is in pixels.
struct CloudCamera {
    float s, fx, fy, cx, cy;
};

/// Writes a point for each of the width * height pixels, row after row: x to the right, y
/// downwards, z away from the camera, (0, 0, 0) where there is no depth. The pixel type defines how
/// a depth is packed: 1 in sixteenths, 2 in eighths, any other in quarters. With limitRange, depths
/// from 4095 (type 1), 8191 (type 2) or 16383 on count as none. A camera with any number that is
/// not above 0 is replaced as a whole by (1000, 425, 425, 200, 320). Every instruction set gives
/// the same bits. Thread-safe.
void convertToPointCloud(const unsigned short *depth, unsigned int width, unsigned int height,
                         const CloudCamera &camera, typedefNubrixPoint3D *points,
                         unsigned int pixelType, bool limitRange,
                         InstructionSet set = instructionSet());

/// Writes the points and colours of rows rowBegin to rowEnd - 1; both arrays begin at row 0. Only
/// whole depths count (the fraction bits are dropped), y and z have the opposite sign of
/// convertToPointCloud, and the camera is taken as it is. Needs the colour board. Thread-safe.
void convertRowsWithColours(const unsigned short *depth, unsigned int width, unsigned int rowBegin,
                            unsigned int rowEnd, const CloudCamera &camera,
                            typedefNubrixPoint3D *points, typedefNubrixRGBA *colours,
                            unsigned int pixelType, InstructionSet set);

/// convertRowsWithColours with what this processor does best; depth is only read. Thread-safe.
void cloudProject2(unsigned short *depth, unsigned int width, unsigned int rowBegin,
                   unsigned int rowEnd, float s, float fx, float fy, float cx, float cy,
                   typedefNubrixPoint3D *points, typedefNubrixRGBA *colours,
                   unsigned int pixelType);

/// cloudProject2 of a whole image in two threads, with one of two built-in cameras (by the width)
/// and the caller's s. Creates the colour board. Thread-safe.
void convertToPointCloudWithColours(const unsigned short *depth, unsigned int width,
                                    unsigned int height, float s, typedefNubrixPoint3D *points,
                                    typedefNubrixRGBA *colours, unsigned int pixelType);

}  // namespace nubrix
