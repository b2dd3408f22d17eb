// How a depth image becomes a point cloud: as a job for a vectorised kernel, the same for both
// kinds of cloud, or by the plain formulas.
#pragma once

#include "cloud/PointCloud.h"

namespace nubrix {

/// A pixel with the value raw at (column, row) has
///     z = (raw >> shift) / s, x = z * (u - cx) / fx, y = z * (v - cy) / fy
/// with u = column + columnOffset, v = row + rowOffset. The point is (x, y, z), or (x, -y, -z) with
/// colours. It is (0, 0, 0) where raw >> shift is 0 or raw is rawLimit or more.
struct CloudJob {
    const unsigned short *depth;       // the image from its first row
    typedefNubrixPoint3D *points;      // one a pixel, from the first row
    typedefNubrixRGBA *colours;        // the same; null: a cloud without colours
    const typedefNubrixRGBA *palette;  // colorBoard()
    unsigned int width;
    unsigned int rowBegin;
    unsigned int rowEnd;  // behind the last
    unsigned int columnOffset;
    unsigned int rowOffset;
    int shift;  // 0 without colours
    int rawLimit;
    bool streaming;  // write past the caches, if the kernel can
    float s;         // of what is left of raw
    float fx, fy, cx, cy;
};

/// A conversion made for one instruction set, exact to the bit where rows are no shorter than its
/// lanes and the camera's numbers are far from the largest and smallest floats.
struct CloudKernel {
    unsigned int lanes;  // pixels at a time
    void (*cloud)(const CloudJob &job);
    void (*cloudWithColours)(const CloudJob &job);
};

extern const CloudKernel kCloudSse41;
extern const CloudKernel kCloudAvx2;
extern const CloudKernel kCloudAvx512;
extern const CloudKernel kCloudNeon;

/// The jobs of convertToPointCloud and of convertRowsWithColours.
CloudJob cloudJob(const unsigned short *depth, unsigned int width, unsigned int height,
                  const CloudCamera &camera, typedefNubrixPoint3D *points, unsigned int pixelType,
                  bool limitRange);
CloudJob cloudJobWithColours(const unsigned short *depth, unsigned int width, unsigned int rowBegin,
                             unsigned int rowEnd, const CloudCamera &camera,
                             typedefNubrixPoint3D *points, typedefNubrixRGBA *colours,
                             unsigned int pixelType);

/// The kernel of an instruction set; null when there is none or the processor cannot run it.
const CloudKernel *cloudKernelOf(InstructionSet set);

/// Runs a job. False: there is no kernel or it does not take such a job; nothing was done, use the
/// plain formulas.
bool runCloudKernel(const CloudKernel *kernel, const CloudJob &job);

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
