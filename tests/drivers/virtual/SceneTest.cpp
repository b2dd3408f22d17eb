#include "virtual/Scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "nubrix/types.h"
#include "virtual/SceneSource.h"

namespace nubrix::virtual_camera {
namespace {

constexpr unsigned int kStreams[] = {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR,
                                     NUBRIX_STREAM_LIGHT_IR};

std::vector<std::uint8_t> rendered(unsigned int streamType, int width, int height,
                                   std::uint32_t frameIndex)
{
    const SceneRenderer renderer(streamType, width, height);
    std::vector<std::uint8_t> image(renderer.size());
    renderer.render(frameIndex, image.data());
    return image;
}

/// FNV-1a.
std::uint64_t hashOf(const std::vector<std::uint8_t> &bytes)
{
    std::uint64_t hash = 14695981039346656037U;
    for (const std::uint8_t byte : bytes)
        hash = (hash ^ byte) * 1099511628211U;
    return hash;
}

std::uint16_t depthAt(const std::vector<std::uint8_t> &image, int width, int x, int y)
{
    std::uint16_t value = 0;
    std::memcpy(&value, &image[static_cast<std::size_t>(y * width + x) * 2], sizeof value);
    return value;
}

double lengthOf(const Vec3 &vector)
{
    return std::sqrt(dot(vector, vector));
}

TEST(SceneTest, EveryDepthPixelIsTheTruthRoundedToASixteenthOfAMillimetre)
{
    for (const std::uint32_t frame : {0U, 17U, 333U}) {
        const auto image = rendered(NUBRIX_STREAM_DEPTH, 320, 240, frame);
        for (int y = 0; y < 240; ++y) {
            for (int x = 0; x < 320; ++x) {
                const double truth = sceneDepthMm(320, 240, frame, x, y);
                ASSERT_EQ(depthAt(image, 320, x, y), std::floor(truth * 16.0 + 0.5))
                    << "frame " << frame << " pixel " << x << ", " << y;
            }
        }
    }
}

TEST(SceneTest, DepthNeverLeavesWhatTwelveIntegerBitsHold)
{
    double nearest = 1e9;
    double farthest = 0;
    for (std::uint32_t frame = 0; frame < Scene::kPeriod; frame += 8) {
        for (int y = 0; y < 60; ++y) {
            for (int x = 0; x < 80; ++x) {
                const double depth = sceneDepthMm(80, 60, frame, x, y);
                nearest = std::min(nearest, depth);
                farthest = std::max(farthest, depth);
            }
        }
    }
    EXPECT_GT(nearest, 1000.0);
    EXPECT_LT(farthest, 4095.0);
}

TEST(SceneTest, TheSamePixelsOnEveryMachine)
{
    struct Pinned {
        unsigned int streamType;
        std::uint32_t frameIndex;
        std::uint64_t hash;
    };
    const Pinned pinned[] = {
        {NUBRIX_STREAM_COLOR, 0, 8367272673365341180U},
        {NUBRIX_STREAM_COLOR, 100, 6622895781821935850U},
        {NUBRIX_STREAM_DEPTH, 0, 2524816884552026290U},
        {NUBRIX_STREAM_DEPTH, 100, 516427838372910968U},
        {NUBRIX_STREAM_IR, 0, 4332504770025540932U},
        {NUBRIX_STREAM_IR, 100, 955522458213880160U},
        {NUBRIX_STREAM_LIGHT_IR, 0, 2985646907662399314U},
        {NUBRIX_STREAM_LIGHT_IR, 100, 15319959501008467979U},
    };
    for (const Pinned &image : pinned) {
        EXPECT_EQ(hashOf(rendered(image.streamType, 640, 480, image.frameIndex)), image.hash)
            << "stream " << image.streamType << " frame " << image.frameIndex;
    }
}

TEST(SceneTest, CachingTheRoomChangesNoPixel)
{
    for (const unsigned int streamType : kStreams) {
        const SceneRenderer renderer(streamType, 160, 120);
        std::vector<std::uint8_t> quick(renderer.size());
        std::vector<std::uint8_t> full(renderer.size());
        for (std::uint32_t frame = 0; frame < Scene::kPeriod; frame += 17) {
            renderer.render(frame, quick.data());
            renderer.renderInFull(frame, full.data());
            ASSERT_EQ(quick, full) << "stream " << streamType << " frame " << frame;
        }
    }
}

TEST(SceneTest, EveryStreamShowsTheMotion)
{
    for (const unsigned int streamType : kStreams) {
        EXPECT_NE(rendered(streamType, 160, 120, 3), rendered(streamType, 160, 120, 4))
            << "stream " << streamType;
    }
}

TEST(SceneTest, RepeatsAfterItsPeriodAndNotEarlier)
{
    const auto first = rendered(NUBRIX_STREAM_DEPTH, 160, 120, 11);
    EXPECT_EQ(rendered(NUBRIX_STREAM_DEPTH, 160, 120, 11 + Scene::kPeriod), first);
    for (std::uint32_t frame = 12; frame < 11 + Scene::kPeriod; ++frame)
        ASSERT_NE(rendered(NUBRIX_STREAM_DEPTH, 40, 30, frame),
                  rendered(NUBRIX_STREAM_DEPTH, 40, 30, 11))
            << "frame " << frame;
}

TEST(SceneTest, RaysEndOnTheSurfacesOfTheRoom)
{
    const PinholeCamera camera(640, 480);
    for (int y = 0; y < 480; y += 7) {
        for (int x = 0; x < 640; x += 7) {
            const Scene::Hit hit = Scene::traceRoom(camera.ray(x, y));
            const Vec3 &p = hit.point;
            const double onSurface =
                std::min({std::abs(p.y - Scene::kFloor), std::abs(p.y - Scene::kCeiling),
                          std::abs(std::abs(p.x) - Scene::kWall), std::abs(p.z - Scene::kBack)});
            ASSERT_LT(onSurface, 1e-9) << x << ", " << y;
            ASSERT_LT(std::abs(p.x), Scene::kWall + 1e-9);
            ASSERT_LT(p.z, Scene::kBack + 1e-9);
            ASSERT_LT(p.y, Scene::kFloor + 1e-9);
            ASSERT_GT(p.y, Scene::kCeiling - 1e-9);
        }
    }
}

TEST(SceneTest, RaysEndOnTheBallExactlyWhereTheyPassItsCentreCloselyEnough)
{
    const PinholeCamera camera(320, 240);
    for (const std::uint32_t frame : {0U, 30U, 200U}) {
        const Scene scene(frame);
        const Scene::Ball &ball = scene.ball();
        int hits = 0;
        for (int y = 0; y < 240; ++y) {
            for (int x = 0; x < 320; ++x) {
                const Vec3 direction = normalized(camera.ray(x, y));
                const Vec3 closest = direction * dot(direction, ball.centre);
                const bool meets = lengthOf(ball.centre - closest) <= ball.radius;
                const auto hit = scene.traceBall(camera.ray(x, y));
                ASSERT_EQ(hit.has_value(), meets) << x << ", " << y;
                if (!hit)
                    continue;
                ++hits;
                ASSERT_NEAR(lengthOf(hit->point - ball.centre), ball.radius, 1e-6);
                ASSERT_LT(lengthOf(hit->point), lengthOf(ball.centre));
            }
        }
        EXPECT_GT(hits, 500) << "frame " << frame;
    }
}

TEST(SceneTest, RaysEndOnTheNearFacesOfTheBox)
{
    const PinholeCamera camera(320, 240);
    for (const std::uint32_t frame : {0U, 50U, 400U}) {
        const Scene scene(frame);
        const Scene::Box &box = scene.box();
        int hits = 0;
        for (int y = 0; y < 240; ++y) {
            for (int x = 0; x < 320; ++x) {
                const Vec3 ray = camera.ray(x, y);
                const auto hit = scene.traceBox(ray);
                if (!hit)
                    continue;
                ++hits;
                const Vec3 p = box.toLocal(hit->point - box.centre);
                const double outside =
                    std::max({std::abs(p.x) - box.half.x, std::abs(p.y) - box.half.y,
                              std::abs(p.z) - box.half.z});
                ASSERT_NEAR(outside, 0.0, 1e-9);
                ASSERT_LT(dot(hit->normal, ray), 0.0);
                ASSERT_NEAR(lengthOf(hit->normal), 1.0, 1e-9);
            }
        }
        EXPECT_GT(hits, 500) << "frame " << frame;
    }
}

TEST(SceneTest, TheBallAndTheBoxStayInTheRoomAndApart)
{
    for (std::uint32_t frame = 0; frame < Scene::kPeriod; ++frame) {
        const Scene scene(frame);
        const Scene::Ball &ball = scene.ball();
        const Scene::Box &box = scene.box();
        ASSERT_LE(ball.centre.y + ball.radius, Scene::kFloor);
        ASSERT_LT(std::abs(ball.centre.x) + ball.radius, Scene::kWall);
        ASSERT_DOUBLE_EQ(box.centre.y + box.half.y, Scene::kFloor);
        const Vec3 between = box.toLocal(ball.centre - box.centre);
        const double gap = std::max({std::abs(between.x) - box.half.x - ball.radius,
                                     std::abs(between.y) - box.half.y - ball.radius,
                                     std::abs(between.z) - box.half.z - ball.radius});
        ASSERT_GT(gap, 0.0) << "frame " << frame;
    }
}

TEST(PinholeCameraTest, ProjectsWhatARayMeetsOntoThePixelOfTheRay)
{
    const PinholeCamera camera(1280, 800);
    for (int y = 0; y < 800; y += 13) {
        for (int x = 0; x < 1280; x += 13) {
            const Vec3 pixel = camera.project(camera.ray(x, y) * 1234.5);
            ASSERT_NEAR(pixel.x, x, 1e-9);
            ASSERT_NEAR(pixel.y, y, 1e-9);
            ASSERT_NEAR(pixel.z, 1234.5, 1e-9);
        }
    }
}

TEST(PinholeCameraTest, IntrinsicsFollowTheSize)
{
    const CameraIntrinsics vga = PinholeCamera(640, 480).intrinsics();
    EXPECT_EQ(vga.fx, 520.0F);
    EXPECT_EQ(vga.fy, 520.0F);
    EXPECT_EQ(vga.cx, 319.5F);
    EXPECT_EQ(vga.cy, 239.5F);
    const CameraIntrinsics wide = PinholeCamera(1280, 800).intrinsics();
    EXPECT_EQ(wide.fx, 1040.0F);
    EXPECT_EQ(wide.cx, 639.5F);
    EXPECT_EQ(wide.cy, 399.5F);
}

TEST(SceneRendererTest, NearThingsAreBrightInTheInfraredAndTheLampLightsTheTopOfTheBall)
{
    const Scene scene(30);
    const PinholeCamera camera(320, 240);
    const auto ir = rendered(NUBRIX_STREAM_IR, 320, 240, 30);
    const auto lightIr = rendered(NUBRIX_STREAM_LIGHT_IR, 320, 240, 30);
    const auto at = [&](const Vec3 &point) {
        const Vec3 pixel = camera.project(point);
        return static_cast<std::size_t>(pixel.y + 0.5) * 320 +
               static_cast<std::size_t>(pixel.x + 0.5);
    };
    const Scene::Ball &ball = scene.ball();
    const std::size_t top = at(ball.centre + Vec3{0.0, -0.8 * ball.radius, -0.5 * ball.radius});
    const std::size_t low = at(ball.centre + Vec3{0.0, 0.8 * ball.radius, -0.5 * ball.radius});
    const std::size_t wall = at({-1000.0, -300.0, Scene::kBack});
    EXPECT_GT(ir[top], ir[wall]);
    EXPECT_GT(ir[low], ir[wall]);
    EXPECT_GT(lightIr[top], lightIr[low] + 40);
}

}  // namespace
}  // namespace nubrix::virtual_camera
