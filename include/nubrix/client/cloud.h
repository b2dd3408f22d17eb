/// @file
/// Point clouds of depth frames.
#pragma once

#include <cstddef>
#include <vector>

#include "nubrix/client/camera.h"
#include "nubrix/client/frame.h"

namespace nubrix {
namespace client {

/// The points of a depth frame, one for each pixel, row after row, in metres: x to the right, y
/// down, z away from the camera. A point is (0, 0, 0) where nothing was measured, and where the
/// depth is the largest that its format has. `optics` are those of the frame's stream and mode.
/// Unsupported for frames that are no depths, Error when the frame is not complete or a focal
/// length or principal point is not above 0. docs/pointcloud.md has the formulas and the widths of
/// images that begin at another pixel than (0, 0). Thread-safe.
inline std::vector<typedefNubrixPoint3D> pointCloud(const Frame &depth, const Intrinsics &optics)
{
    if (detail::depthUnitsPerMillimetre(depth.record().pixelFormat) == 0) {
        detail::fail("pointCloud", -8, 0,
                     "pointCloud: this is no depth frame; start StreamType::kDepth");
    }
    const auto image = depth.image<unsigned short>();
    if (!(optics.fx > 0 && optics.fy > 0 && optics.cx > 0 && optics.cy > 0)) {
        detail::fail("pointCloud", -4, 0,
                     "pointCloud: these intrinsics are of no camera; take Camera::intrinsics");
    }
    NubrixBaseContext *const context = ContextFactory();
    if (!context)
        detail::fail("ContextFactory", "", -1);
    auto points = detail::allocating("pointCloud", [&image] {
        return std::vector<typedefNubrixPoint3D>(static_cast<std::size_t>(image.width) *
                                                 static_cast<std::size_t>(image.height));
    });
    // Whole millimetres have no type of their own there: they are converted as quarters.
    const bool isWhole = depth.format() == NUBRIX_PIXEL_DEPTH_MM;
    context->convertDepthToPointCloud(image.data, static_cast<unsigned int>(image.width),
                                      static_cast<unsigned int>(image.height), isWhole ? 250 : 1000,
                                      optics.fx, optics.fy, optics.cx, optics.cy, points.data(),
                                      isWhole ? NUBRIX_PIXEL_DEPTH_14_2 : depth.format(), true);
    return points;
}

}  // namespace client
}  // namespace nubrix
