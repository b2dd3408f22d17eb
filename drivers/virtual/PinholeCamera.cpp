#include "virtual/PinholeCamera.h"

namespace nubrix {

namespace {

// The camera looks 12.7 degrees down; sine and cosine of a Pythagorean triple need no library
// function that could differ between machines.
constexpr double kPitchSin = 9.0 / 41.0;
constexpr double kPitchCos = 40.0 / 41.0;

constexpr float kFocalPerWidth = 13.0F / 16.0F;

}  // namespace

PinholeCamera::PinholeCamera(int width, int height)
    : m_intrinsics{static_cast<float>(width) * kFocalPerWidth,
                   static_cast<float>(width) * kFocalPerWidth, static_cast<float>(width - 1) / 2.0F,
                   static_cast<float>(height - 1) / 2.0F}
{
}

Vec3 PinholeCamera::ray(int x, int y) const
{
    const double right = (static_cast<double>(x) - m_intrinsics.cx) / m_intrinsics.fx;
    const double down = (static_cast<double>(y) - m_intrinsics.cy) / m_intrinsics.fy;
    return {right, kPitchCos * down + kPitchSin, kPitchCos - kPitchSin * down};
}

Vec3 PinholeCamera::project(const Vec3 &point) const
{
    const double depth = kPitchSin * point.y + kPitchCos * point.z;
    const double down = kPitchCos * point.y - kPitchSin * point.z;
    return {m_intrinsics.cx + m_intrinsics.fx * point.x / depth,
            m_intrinsics.cy + m_intrinsics.fy * down / depth, depth};
}

}  // namespace nubrix
