// Point clouds: from depth images by a pinhole camera, and as PLY files.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "nubrix/context.h"
#include "nubrix/types.h"

namespace nubrix::tool {

/// The parameters of a pinhole camera, in pixels.
struct Pinhole {
    float fx;
    float fy;
    float cx;
    float cy;
};

struct DepthImage {
    const unsigned short *depth;  // width * height values, row by row
    unsigned int width;
    unsigned int height;
    float unitMm;  // millimetres per depth value
};

/// The content of a PLY file.
struct PointCloudFile {
    std::vector<typedefNubrixPoint3D> points;
    std::vector<typedefNubrixRGBA> colours;  // empty, or one for each point
    std::vector<std::string> comments;       // one line each
};

/// The unit of a depth format in millimetres; 1 for formats without fractions.
float depthUnitMm(unsigned int pixelFormat);

/// Converts a depth image to one point per pixel in millimetres / scale, (0, 0, 0) for pixels
/// without depth. The comments state unit, axes and camera. The context need not be initialized.
PointCloudFile pinholeCloud(NubrixBaseContext &context, const DepthImage &image, float scale,
                            const Pinhole &camera);

/// The comment that states unit and axes: "millimetres / 1000, x right, y down, ...".
std::string axesComment(float scale, const std::string &axes);

/// Writes a binary PLY file: x, y, z as 32-bit floats, with colours also red, green and blue as
/// bytes. Leaves out points at (0, 0, 0), which stand for pixels without depth. Returns the number
/// of points written; throws a std::runtime_error.
std::size_t writePly(const std::string &path, const PointCloudFile &cloud);

}  // namespace nubrix::tool
