#include "virtual/Scene.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace nubrix::virtual_camera {

namespace {

// The camera looks 12.7 degrees down. A Pythagorean triple gives sine and cosine without a library
// function, whose result could differ between machines.
constexpr double kPitchSin = 9.0 / 41.0;
constexpr double kPitchCos = 40.0 / 41.0;

constexpr float kFocalPerWidth = 13.0F / 16.0F;

/// A wave like a sine, made of two parabolas: 0 at the start of the period, 1 at a quarter of it.
double wave(std::uint32_t frameIndex, std::uint32_t period)
{
    const double u = static_cast<double>(frameIndex % period) / period;
    return u < 0.5 ? 16.0 * u * (0.5 - u) : -16.0 * (u - 0.5) * (1.0 - u);
}

/// Height of a bouncing object: 0 at the start of the period, 1 in the middle.
double bounce(std::uint32_t frameIndex, std::uint32_t period)
{
    const double u = static_cast<double>(frameIndex % period) / period;
    return 4.0 * u * (1.0 - u);
}

/// The interval of factors for which origin + factor * direction lies between -half and half.
struct Slab {
    double enter;
    double leave;

    Slab(double origin, double direction, double half)
    {
        const double scale = 1.0 / direction;
        const double a = (-half - origin) * scale;
        const double b = (half - origin) * scale;
        enter = std::min(a, b);
        leave = std::max(a, b);
    }
};

/// The factor at which a ray enters the ball, negative when it misses.
double enterBall(const Scene::Ball &ball, const Vec3 &origin, const Vec3 &direction)
{
    const Vec3 toCentre = ball.centre - origin;
    const double a = dot(direction, direction);
    const double b = dot(direction, toCentre);
    const double discriminant = b * b - a * (dot(toCentre, toCentre) - ball.radius * ball.radius);
    return discriminant < 0.0 ? -1.0 : (b - std::sqrt(discriminant)) / a;
}

/// The same for the box; `axis` returns the pair of faces (0 x, 1 y, 2 z of the box).
double enterBox(const Scene::Box &box, const Vec3 &origin, const Vec3 &direction, int &axis)
{
    const Vec3 o = box.toLocal(origin - box.centre);
    const Vec3 d = box.toLocal(direction);
    const Slab x(o.x, d.x, box.half.x);
    const Slab y(o.y, d.y, box.half.y);
    const Slab z(o.z, d.z, box.half.z);
    const double enter = std::max(std::max(x.enter, y.enter), z.enter);
    if (enter > std::min(std::min(x.leave, y.leave), z.leave))
        return -1.0;
    axis = enter == x.enter ? 0 : (enter == y.enter ? 1 : 2);
    return enter;
}

bool isBetween(double factor)
{
    return factor > 0.0 && factor < 1.0;
}

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

Vec3 Scene::Box::toLocal(const Vec3 &direction) const
{
    return {turnCos * direction.x - turnSin * direction.z, direction.y,
            turnSin * direction.x + turnCos * direction.z};
}

Vec3 Scene::Box::toWorld(const Vec3 &direction) const
{
    return {turnCos * direction.x + turnSin * direction.z, direction.y,
            turnCos * direction.z - turnSin * direction.x};
}

Scene::Scene(std::uint32_t frameIndex)
{
    const std::uint32_t i = frameIndex % kPeriod;
    const double radius = 210.0;
    m_ball = {{620.0 * wave(i, 120), kFloor - radius - 480.0 * bounce(i, 40),
               1850.0 + 130.0 * wave(i + 30, 120)},
              radius};
    const double halfTurn = 0.35 * wave(i, 180);  // the tangent of half the angle
    const double scale = 1.0 / (1.0 + halfTurn * halfTurn);
    m_box = {{-420.0 * wave(i + 40, 240), kFloor - 260.0, 2620.0},
             {250.0, 260.0, 250.0},
             (1.0 - halfTurn * halfTurn) * scale,
             2.0 * halfTurn * scale};
}

Scene::Hit Scene::traceRoom(const Vec3 &ray)
{
    Hit hit{Surface::kBackWall, kBack / ray.z, {}, {0.0, 0.0, -1.0}};
    if (ray.x != 0.0) {
        const double depth = kWall / std::abs(ray.x);
        if (depth < hit.depth) {
            hit = ray.x < 0.0 ? Hit{Surface::kLeftWall, depth, {}, {1.0, 0.0, 0.0}}
                              : Hit{Surface::kRightWall, depth, {}, {-1.0, 0.0, 0.0}};
        }
    }
    if (ray.y != 0.0) {
        const double depth = (ray.y < 0.0 ? kCeiling : kFloor) / ray.y;
        if (depth < hit.depth) {
            hit = ray.y < 0.0 ? Hit{Surface::kCeiling, depth, {}, {0.0, 1.0, 0.0}}
                              : Hit{Surface::kFloor, depth, {}, {0.0, -1.0, 0.0}};
        }
    }
    hit.point = ray * hit.depth;
    return hit;
}

std::optional<Scene::Hit> Scene::traceBall(const Vec3 &ray) const
{
    const double depth = enterBall(m_ball, {0.0, 0.0, 0.0}, ray);
    if (depth <= 0.0)
        return std::nullopt;
    const Vec3 point = ray * depth;
    return Hit{Surface::kBall, depth, point, (point - m_ball.centre) * (1.0 / m_ball.radius)};
}

std::optional<Scene::Hit> Scene::traceBox(const Vec3 &ray) const
{
    int axis = 0;
    const double depth = enterBox(m_box, {0.0, 0.0, 0.0}, ray, axis);
    if (depth <= 0.0)
        return std::nullopt;
    const Vec3 local = m_box.toLocal(ray);
    Vec3 normal{0.0, local.y < 0.0 ? 1.0 : -1.0, 0.0};
    if (axis == 0)
        normal = m_box.toWorld({local.x < 0.0 ? 1.0 : -1.0, 0.0, 0.0});
    else if (axis == 2)
        normal = m_box.toWorld({0.0, 0.0, local.z < 0.0 ? 1.0 : -1.0});
    return Hit{Surface::kBox, depth, ray * depth, normal};
}

Scene::Hit Scene::trace(const Vec3 &ray) const
{
    Hit nearest = traceRoom(ray);
    if (const auto hit = traceBall(ray); hit && hit->depth < nearest.depth)
        nearest = *hit;
    if (const auto hit = traceBox(ray); hit && hit->depth < nearest.depth)
        nearest = *hit;
    return nearest;
}

bool Scene::isLit(const Hit &hit) const
{
    // A convex object casts no shadow on its lit side; its other side is dark anyway.
    const Vec3 toLamp = kLamp - hit.point;
    int axis = 0;
    if (hit.surface != Surface::kBall && isBetween(enterBall(m_ball, hit.point, toLamp)))
        return false;
    return hit.surface == Surface::kBox || !isBetween(enterBox(m_box, hit.point, toLamp, axis));
}

double sceneDepthMm(int width, int height, std::uint32_t frameIndex, int x, int y)
{
    return Scene(frameIndex).trace(PinholeCamera(width, height).ray(x, y)).depth;
}

}  // namespace nubrix::virtual_camera
