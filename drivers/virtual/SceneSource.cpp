#include "virtual/SceneSource.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <set>

#include "nubrix/types.h"

namespace nubrix::virtual_camera {

namespace {

using Corners = std::array<Vec3, 8>;

Corners cornersOf(const Scene::Box &box)
{
    Corners corners;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const Vec3 corner = {(i & 1U) != 0 ? box.half.x : -box.half.x,
                             (i & 2U) != 0 ? box.half.y : -box.half.y,
                             (i & 4U) != 0 ? box.half.z : -box.half.z};
        corners[i] = box.centre + box.toWorld(corner);
    }
    return corners;
}

/// The corners of a box around the ball.
Corners cornersOf(const Scene::Ball &ball)
{
    return cornersOf(Scene::Box{ball.centre, {ball.radius, ball.radius, ball.radius}, 1.0, 0.0});
}

bool castsShadow(unsigned int streamType)
{
    return streamType == NUBRIX_STREAM_COLOR || streamType == NUBRIX_STREAM_LIGHT_IR;
}

struct Size {
    unsigned short width;
    unsigned short height;
};

constexpr Size kSizes[] = {{320, 240}, {640, 400}, {640, 480}, {1280, 800}};
constexpr Size kDefaultSize = {640, 480};

}  // namespace

SceneRenderer::SceneRenderer(unsigned int streamType, int width, int height)
    : m_streamType(streamType),
      m_width(width),
      m_height(height),
      m_pixelSize(scenePixelSize(streamType)),
      m_camera(width, height),
      m_room(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * m_pixelSize)
{
    const Scene scene(0);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Scene::Hit hit = Scene::traceRoom(m_camera.ray(x, y));
            paintScenePixel(streamType, scene, hit, true, &m_room[at(x, y)]);
        }
    }
}

void SceneRenderer::render(std::uint32_t frameIndex, std::uint8_t *image) const
{
    const Scene scene(frameIndex);
    const Corners ball = cornersOf(scene.ball());
    const Corners box = cornersOf(scene.box());
    std::memcpy(image, m_room.data(), m_room.size());
    if (castsShadow(m_streamType)) {
        paintShadow(scene, ball.data(), image);
        paintShadow(scene, box.data(), image);
    }
    paintThings(scene, areaOf(ball.data(), ball.size()), areaOf(box.data(), box.size()), image);
}

void SceneRenderer::renderInFull(std::uint32_t frameIndex, std::uint8_t *image) const
{
    const Scene scene(frameIndex);
    for (int y = 0; y < m_height; ++y) {
        for (int x = 0; x < m_width; ++x) {
            const Scene::Hit hit = scene.trace(m_camera.ray(x, y));
            paintScenePixel(m_streamType, scene, hit, scene.isLit(hit), image + at(x, y));
        }
    }
}

std::size_t SceneRenderer::at(int x, int y) const
{
    return (static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width) +
            static_cast<std::size_t>(x)) *
           m_pixelSize;
}

SceneRenderer::Area SceneRenderer::areaOf(const Vec3 *points, std::size_t count) const
{
    const double width = m_width;
    const double height = m_height;
    double left = width;
    double top = height;
    double right = -1.0;
    double bottom = -1.0;
    for (std::size_t i = 0; i < count; ++i) {
        const Vec3 p = m_camera.project(points[i]);
        left = std::min(left, p.x);
        top = std::min(top, p.y);
        right = std::max(right, p.x);
        bottom = std::max(bottom, p.y);
    }
    return {static_cast<int>(std::clamp(left - 1.0, 0.0, width)),
            static_cast<int>(std::clamp(top - 1.0, 0.0, height)),
            static_cast<int>(std::clamp(right + 2.0, 0.0, width)),
            static_cast<int>(std::clamp(bottom + 2.0, 0.0, height))};
}

void SceneRenderer::paintShadow(const Scene &scene, const Vec3 *corners, std::uint8_t *image) const
{
    // The position of the lamp makes every shadow fall on the floor alone.
    Corners cast;
    for (std::size_t i = 0; i < cast.size(); ++i) {
        const Vec3 away = corners[i] - Scene::kLamp;
        cast[i] = Scene::kLamp + away * ((Scene::kFloor - Scene::kLamp.y) / away.y);
    }
    const Area area = areaOf(cast.data(), cast.size());
    for (int y = area.top; y < area.bottom; ++y) {
        for (int x = area.left; x < area.right; ++x) {
            const Scene::Hit hit = Scene::traceRoom(m_camera.ray(x, y));
            if (hit.surface == Scene::Surface::kFloor && !scene.isLit(hit))
                paintScenePixel(m_streamType, scene, hit, false, image + at(x, y));
        }
    }
}

void SceneRenderer::paintThings(const Scene &scene, const Area &ball, const Area &box,
                                std::uint8_t *image) const
{
    const auto isIn = [](const Area &area, int x, int y) {
        return x >= area.left && x < area.right && y >= area.top && y < area.bottom;
    };
    const int right = std::max(ball.right, box.right);
    const int bottom = std::max(ball.bottom, box.bottom);
    for (int y = std::min(ball.top, box.top); y < bottom; ++y) {
        for (int x = std::min(ball.left, box.left); x < right; ++x) {
            const bool inBall = isIn(ball, x, y);
            const bool inBox = isIn(box, x, y);
            if (!inBall && !inBox)
                continue;
            const Vec3 ray = m_camera.ray(x, y);
            std::optional<Scene::Hit> hit;
            if (inBall)
                hit = scene.traceBall(ray);
            if (inBox) {
                if (const auto other = scene.traceBox(ray);
                    other && (!hit || other->depth < hit->depth))
                    hit = other;
            }
            if (hit)
                paintScenePixel(m_streamType, scene, *hit, scene.isLit(*hit), image + at(x, y));
        }
    }
}

SceneSource::SceneSource(int frameRate)
{
    const std::set<int> rates = {5, 15, 30, 60, frameRate};
    for (const Size &size : kSizes) {
        for (const int rate : rates) {
            if (size.width == kDefaultSize.width && size.height == kDefaultSize.height &&
                rate == frameRate)
                m_default = m_color.records.size();
            const auto rate8 = static_cast<signed char>(rate);
            m_color.records.push_back({NUBRIX_PIXEL_RGB888, size.width, size.height, rate8});
            m_depth.records.push_back({NUBRIX_PIXEL_DEPTH_12_4, size.width, size.height, rate8});
            for (ModeTable *infrared : {&m_ir, &m_lightIr})
                infrared->records.push_back({NUBRIX_PIXEL_GREY8, size.width, size.height, rate8});
        }
    }
}

const ModeTable &SceneSource::modes(unsigned int streamType) const
{
    switch (streamType) {
        case NUBRIX_STREAM_COLOR:
            return m_color;
        case NUBRIX_STREAM_DEPTH:
            return m_depth;
        case NUBRIX_STREAM_IR:
            return m_ir;
        case NUBRIX_STREAM_LIGHT_IR:
            return m_lightIr;
        default:
            return kNoModes;
    }
}

std::size_t SceneSource::defaultMode(unsigned int /*streamType*/) const
{
    return m_default;
}

void SceneSource::prepare(unsigned int streamType, const typedefNubrixFrameMode &mode)
{
    renderer(streamType, mode);
}

FrameSource::Result SceneSource::fill(unsigned int streamType, const typedefNubrixFrameMode &mode,
                                      std::uint32_t frameIndex, std::uint8_t *data)
{
    renderer(streamType, mode).render(frameIndex, data);
    return Result::kFilled;
}

std::optional<CameraIntrinsics> SceneSource::intrinsics(unsigned int /*streamType*/,
                                                        const typedefNubrixFrameMode &mode) const
{
    return PinholeCamera(mode.width, mode.height).intrinsics();
}

std::optional<double> SceneSource::trueDepth(const typedefNubrixFrameMode &mode,
                                             std::uint32_t frameIndex, unsigned int x,
                                             unsigned int y) const
{
    return sceneDepthMm(mode.width, mode.height, frameIndex, static_cast<int>(x),
                        static_cast<int>(y));
}

const SceneRenderer &SceneSource::renderer(unsigned int streamType,
                                           const typedefNubrixFrameMode &mode)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    auto &entry = m_renderers[Key(streamType, mode.width, mode.height)];
    if (!entry)
        entry = std::make_unique<SceneRenderer>(streamType, mode.width, mode.height);
    return *entry;
}

}  // namespace nubrix::virtual_camera
