// The scene of the virtual camera: a room with a ball and a box that move with the frame index, and
// the pinhole model behind both the images and the true depth.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "common/CameraProperties.h"

namespace nubrix::virtual_camera {

struct Vec3 {
    double x;
    double y;
    double z;
};

inline Vec3 operator+(const Vec3 &a, const Vec3 &b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

inline Vec3 operator-(const Vec3 &a, const Vec3 &b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

inline Vec3 operator*(const Vec3 &a, double factor)
{
    return {a.x * factor, a.y * factor, a.z * factor};
}

inline double dot(const Vec3 &a, const Vec3 &b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

inline Vec3 normalized(const Vec3 &a)
{
    return a * (1.0 / std::sqrt(dot(a, a)));
}

/// The camera of the scene for frames of one size. It sits at the origin of the world (x to the
/// right, y downwards, z ahead, millimetres) and looks ahead and slightly down. Thread-safe.
class PinholeCamera {
public:
    PinholeCamera(int width, int height);

    const CameraIntrinsics &intrinsics() const { return m_intrinsics; }

    /// The ray through the centre of a pixel, in the world. Each unit advances one millimetre of
    /// depth, so the factor at which the ray meets a surface is the depth.
    Vec3 ray(int x, int y) const;

    /// Projects a point of the world to column, row and depth. Columns and rows are meaningful only
    /// for positive depth.
    Vec3 project(const Vec3 &point) const;

private:
    CameraIntrinsics m_intrinsics;
};

/// The scene at one frame index. World: x to the right, y downwards, z ahead, millimetres, the
/// camera at the origin. Only + - * / and square roots are used, in double precision and fixed
/// order, so that every machine computes the same bits. Thread-safe (immutable).
class Scene {
public:
    enum class Surface { kFloor, kCeiling, kLeftWall, kRightWall, kBackWall, kBall, kBox };

    /// The point where a ray ends.
    struct Hit {
        Surface surface;
        double depth;  ///< factor of the ray's direction
        Vec3 point;
        Vec3 normal;  ///< unit length, on the side of the camera
    };

    struct Ball {
        Vec3 centre;
        double radius;
    };

    /// An upright box, rotated about the vertical axis.
    struct Box {
        Vec3 centre;
        Vec3 half;  ///< half of each edge
        double turnCos;
        double turnSin;

        Vec3 toLocal(const Vec3 &direction) const;
        Vec3 toWorld(const Vec3 &direction) const;
    };

    static constexpr double kFloor = 1100.0;
    static constexpr double kCeiling = -1300.0;
    static constexpr double kWall = 1600.0;
    static constexpr double kBack = 3500.0;
    static constexpr Vec3 kLamp = {150.0, -1150.0, 2100.0};

    /// Frames after which the scene repeats.
    static constexpr std::uint32_t kPeriod = 720;

    explicit Scene(std::uint32_t frameIndex);

    /// What a ray from the camera meets; its z must be positive.
    Hit trace(const Vec3 &ray) const;
    /// The same for the empty room, and for the moving objects only.
    static Hit traceRoom(const Vec3 &ray);
    std::optional<Hit> traceBall(const Vec3 &ray) const;
    std::optional<Hit> traceBox(const Vec3 &ray) const;

    /// False when the ball or the box stands between the point and the lamp.
    bool isLit(const Hit &hit) const;

    const Ball &ball() const { return m_ball; }
    const Box &box() const { return m_box; }

private:
    Ball m_ball;
    Box m_box;
};

/// The true depth in millimetres along the optical axis at the centre of a pixel, for frames of
/// that size. A depth pixel (12.4) is this times 16, rounded to the nearest integer, halves up.
double sceneDepthMm(int width, int height, std::uint32_t frameIndex, int x, int y);

/// Bytes of one pixel of a stream of the scene: colour 3, depth 2, ir and light ir 1.
std::size_t scenePixelSize(unsigned int streamType);

/// Writes the pixel of one stream. `lit`: the lamp reaches the point. Thread-safe.
void paintScenePixel(unsigned int streamType, const Scene &scene, const Scene::Hit &hit, bool lit,
                     std::uint8_t *pixel);

}  // namespace nubrix::virtual_camera
