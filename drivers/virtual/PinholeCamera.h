// The pinhole model that both the pictures and the truth of the scene are made with.
#pragma once

#include "virtual/Vec3.h"

namespace nubrix {

/// Focal lengths and principal point in pixels; the centre of the first pixel is (0, 0).
struct Intrinsics {
    float fx;
    float fy;
    float cx;
    float cy;
};

/// The camera of the scene for pictures of one size. It sits at the origin of the world (x to the
/// right, y downwards, z ahead, millimetres) and looks ahead and a little down. Thread-safe.
class PinholeCamera {
public:
    PinholeCamera(int width, int height);

    const Intrinsics &intrinsics() const { return m_intrinsics; }

    /// The ray through the centre of a pixel, in the world. It advances one millimetre of depth for
    /// each unit, so that the factor at which it meets a surface is the depth.
    Vec3 ray(int x, int y) const;

    /// A point of the world as column, row and depth; columns and rows are only meaningful where
    /// the depth is positive.
    Vec3 project(const Vec3 &point) const;

private:
    Intrinsics m_intrinsics;
};

}  // namespace nubrix
