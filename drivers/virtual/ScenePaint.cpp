// Colours and light of the scene, and the pixels of each stream.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "nubrix/types.h"
#include "virtual/Scene.h"

namespace nubrix::virtual_camera {

namespace {

using Surface = Scene::Surface;

// The colours are linear: the square root at the end converts them to pixel values.
constexpr Vec3 kPlank = {0.42, 0.24, 0.12};
constexpr Vec3 kRug = {0.30, 0.05, 0.06};
constexpr Vec3 kRugRing = {0.72, 0.62, 0.42};
constexpr Vec3 kCeilingPaint = {0.80, 0.80, 0.78};
constexpr Vec3 kSidePaint = {0.62, 0.46, 0.30};
constexpr Vec3 kBackPaint = {0.16, 0.30, 0.36};
constexpr Vec3 kSkirting = {0.75, 0.74, 0.70};
constexpr Vec3 kFrame = {0.10, 0.06, 0.03};
constexpr Vec3 kBallPaint = {0.85, 0.16, 0.05};
constexpr Vec3 kBallBand = {0.90, 0.88, 0.80};
constexpr Vec3 kBoxWood = {0.60, 0.40, 0.17};
constexpr Vec3 kBoxEdge = {0.36, 0.21, 0.08};

Vec3 mix(const Vec3 &a, const Vec3 &b, double share)
{
    return a * (1.0 - share) + b * share;
}

double square(double value)
{
    return value * value;
}

/// The painting on the back wall; u and v run from -1 to 1.
Vec3 wallPainting(double u, double v)
{
    if (std::max(std::abs(u), std::abs(v)) > 0.86)
        return kFrame;
    if (v > 0.30 + 0.5 * square(u - 0.35))
        return {0.10, 0.26, 0.07};
    if (v > 0.02 + 0.7 * square(u + 0.45))
        return {0.18, 0.36, 0.16};
    if (square(u - 0.45) * 2.2 + square(v + 0.40) < 0.045)
        return {0.95, 0.80, 0.30};
    return mix({0.30, 0.52, 0.80}, {0.85, 0.82, 0.70}, 0.5 + 0.5 * v);
}

Vec3 floorColour(const Vec3 &p)
{
    const double reach = square(p.x / 1150.0) + square((p.z - 2250.0) / 820.0);
    if (reach < 1.0)
        return reach > 0.78 && reach < 0.88 ? kRugRing : kRug;
    const double lane = (p.x + Scene::kWall) / 160.0;
    const int plank = static_cast<int>(lane);
    const double along = (p.z + 400.0 * (plank % 3)) / 1200.0;
    const int piece = static_cast<int>(along);
    if (lane - plank < 0.03 || along - piece < 0.005)
        return kPlank * 0.35;
    const unsigned int tint = static_cast<unsigned int>(plank * 7 + piece * 13) % 5U;
    return kPlank * (0.80 + 0.09 * tint);
}

Vec3 wallColour(const Scene::Hit &hit)
{
    const Vec3 &p = hit.point;
    if (p.y > Scene::kFloor - 110.0)
        return kSkirting;
    if (hit.surface != Surface::kBackWall)
        return kSidePaint;
    const double u = (p.x - 250.0) / 620.0;
    const double v = (p.y + 130.0) / 400.0;
    return std::max(std::abs(u), std::abs(v)) < 1.0 ? wallPainting(u, v) : kBackPaint;
}

Vec3 boxColour(const Scene::Box &box, const Scene::Hit &hit)
{
    const Vec3 local = box.toLocal(hit.point - box.centre);
    const Vec3 normal = box.toLocal(hit.normal);
    double u = local.x / box.half.x;
    double v = local.y / box.half.y;
    const bool isTop = std::abs(normal.y) > 0.5;
    if (isTop)
        v = local.z / box.half.z;
    else if (std::abs(normal.x) > 0.5)
        u = local.z / box.half.z;
    if (std::max(std::abs(u), std::abs(v)) > 0.80 || std::abs(u - v) < 0.20)
        return kBoxEdge;
    const double slat = 2.0 * (v + 1.0);
    const bool isGap = !isTop && slat - static_cast<int>(slat) < 0.06;
    return kBoxWood * (isGap ? 0.5 : 1.0);
}

Vec3 colourOf(const Scene &scene, const Scene::Hit &hit)
{
    switch (hit.surface) {
        case Surface::kFloor:
            return floorColour(hit.point);
        case Surface::kCeiling:
            return kCeilingPaint;
        case Surface::kBall:
            return std::abs(hit.normal.y) < 0.22 ? kBallBand : kBallPaint;
        case Surface::kBox:
            return boxColour(scene.box(), hit);
        default:
            return wallColour(hit);
    }
}

double greyOf(const Vec3 &colour)
{
    return 0.30 * colour.x + 0.59 * colour.y + 0.11 * colour.z;
}

/// How much the ambient light fades near the edges of the room: 1 in the open.
double openness(const Scene::Hit &hit)
{
    const Vec3 &p = hit.point;
    const double side = std::min(Scene::kWall - p.x, Scene::kWall + p.x);
    const double height = std::min(Scene::kFloor - p.y, p.y - Scene::kCeiling);
    const double back = Scene::kBack - p.z;
    double open = 1.0;
    for (const double distance : {side, height, back}) {
        // The distance to its own surface is 0 and does not count.
        if (distance > 1.0)
            open = open * (distance / (distance + 90.0));
    }
    return open;
}

struct Light {
    double ambient;
    double diffuse;
    double shine;
};

Light lightAt(const Scene::Hit &hit, bool lit)
{
    Light light{0.22 * openness(hit), 0.0, 0.0};
    const Vec3 toLamp = Scene::kLamp - hit.point;
    const double distance2 = dot(toLamp, toLamp);
    const Vec3 direction = toLamp * (1.0 / std::sqrt(distance2));
    const double facing = dot(direction, hit.normal);
    if (!lit || facing <= 0.0)
        return light;
    light.diffuse = 1.35 * facing * (2000.0 * 2000.0) / (distance2 + 1200.0 * 1200.0);
    if (hit.surface == Surface::kBall) {
        const Vec3 half = normalized(direction - normalized(hit.point));
        const double glint = square(square(square(square(std::max(0.0, dot(half, hit.normal))))));
        light.shine = 0.55 * square(glint);
    }
    return light;
}

/// Rounds to the nearest integer, halves up.
unsigned int rounded(double value)
{
    return (static_cast<unsigned int>(value * 2.0) + 1U) / 2U;
}

std::uint8_t pixelValue(double linear)
{
    return static_cast<std::uint8_t>(rounded(std::sqrt(std::min(linear, 1.0)) * 255.0));
}

/// The reflection of an illuminator next to the lens: it fades with the square of the distance.
double infrared(const Scene &scene, const Scene::Hit &hit)
{
    const double distance2 = dot(hit.point, hit.point);
    const double facing = std::max(0.0, -dot(hit.point, hit.normal)) / std::sqrt(distance2);
    const double albedo = 0.35 + 0.65 * greyOf(colourOf(scene, hit));
    return albedo * facing * (1900.0 * 1900.0) / (distance2 + 700.0 * 700.0);
}

}  // namespace

std::size_t scenePixelSize(unsigned int streamType)
{
    if (streamType == NUBRIX_STREAM_COLOR)
        return 3;
    return streamType == NUBRIX_STREAM_DEPTH ? 2 : 1;
}

void paintScenePixel(unsigned int streamType, const Scene &scene, const Scene::Hit &hit, bool lit,
                     std::uint8_t *pixel)
{
    if (streamType == NUBRIX_STREAM_DEPTH) {
        const auto depth = static_cast<std::uint16_t>(rounded(hit.depth * 16.0));
        std::memcpy(pixel, &depth, sizeof depth);
        return;
    }
    if (streamType == NUBRIX_STREAM_IR) {
        *pixel = pixelValue(infrared(scene, hit));
        return;
    }
    const Light light = lightAt(hit, lit);
    const Vec3 colour = colourOf(scene, hit) * (light.ambient + light.diffuse);
    if (streamType == NUBRIX_STREAM_COLOR) {
        pixel[0] = pixelValue(colour.x + light.shine);
        pixel[1] = pixelValue(colour.y + light.shine);
        pixel[2] = pixelValue(colour.z + light.shine);
    } else {
        *pixel = pixelValue(greyOf(colour) + light.shine);
    }
}

}  // namespace nubrix::virtual_camera
