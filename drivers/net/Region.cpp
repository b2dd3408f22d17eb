#include "net/Region.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>

namespace nubrix::net {

namespace {

/// Cameras may report any number; sums of sizes are computed in 64 bits and limited here.
int sizeOf(std::int64_t pixels)
{
    constexpr std::int64_t kLargest = std::numeric_limits<unsigned short>::max();
    return static_cast<int>(std::clamp<std::int64_t>(pixels, 0, kLargest));
}

std::int64_t readInteger(ArvCamera &camera, const char *feature, std::int64_t otherwise)
{
    if (!arv_camera_is_feature_available(&camera, feature, nullptr))
        return otherwise;
    const std::int64_t value = arv_camera_get_integer(&camera, feature, nullptr);
    return value > 0 && value <= std::numeric_limits<int>::max() ? value : otherwise;
}

int middle(int whole, int part, int step, bool isInPairs)
{
    if (step <= 0)
        return 0;
    const std::int64_t steps = isInPairs ? std::lcm(std::int64_t{step}, 2) : step;
    const std::int64_t room = std::int64_t{whole} - part;
    return static_cast<int>(std::max<std::int64_t>(room, 0) / 2 / steps * steps);
}

}  // namespace

Sensor readSensor(ArvCamera &camera)
{
    Sensor sensor = {};
    arv_camera_get_width_bounds(&camera, nullptr, &sensor.width, nullptr);
    arv_camera_get_height_bounds(&camera, nullptr, &sensor.height, nullptr);
    // The largest size is that at the place where the picture is now.
    const std::int64_t right = sensor.width + readInteger(camera, "OffsetX", 0);
    const std::int64_t bottom = sensor.height + readInteger(camera, "OffsetY", 0);
    sensor.width = sizeOf(readInteger(camera, "WidthMax",
                                      std::min(right, readInteger(camera, "SensorWidth", right))));
    sensor.height = sizeOf(readInteger(
        camera, "HeightMax", std::min(bottom, readInteger(camera, "SensorHeight", bottom))));
    if (arv_camera_is_region_offset_available(&camera, nullptr)) {
        sensor.stepX = std::max(arv_camera_get_x_offset_increment(&camera, nullptr), 1);
        sensor.stepY = std::max(arv_camera_get_y_offset_increment(&camera, nullptr), 1);
    }
    return sensor;
}

Place placeOf(const Sensor &sensor, const typedefNubrixFrameMode &mode, const PixelFormat &format)
{
    const bool isMosaic = format.layout == Layout::kMosaic;
    const bool isInPairs =
        isMosaic || format.layout == Layout::kYuyv || format.layout == Layout::kUyvy;
    return {middle(sensor.width, mode.width, sensor.stepX, isInPairs),
            middle(sensor.height, mode.height, sensor.stepY, isMosaic)};
}

}  // namespace nubrix::net
