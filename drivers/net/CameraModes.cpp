#include "net/CameraModes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <tuple>
#include <utility>

#include "net/NetSettings.h"

namespace nubrix::net {

namespace {

/// Limits a size. Cameras may report any number, so sums of sizes are computed in 64 bits.
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

/// The offset of a part in the middle of a whole.
int middle(int whole, int part, int step, bool isInPairs)
{
    if (step <= 0)
        return 0;
    const std::int64_t steps = isInPairs ? std::lcm(std::int64_t{step}, 2) : step;
    const std::int64_t rest = std::int64_t{whole} - part;
    return static_cast<int>(std::max<std::int64_t>(rest, 0) / 2 / steps * steps);
}

constexpr int kSizes[][2] = {{1920, 1080}, {1280, 960}, {1280, 800}, {1280, 720},
                             {640, 480},   {640, 400},  {320, 240}};
constexpr int kRates[] = {120, 90, 60, 50, 30, 25, 20, 15, 10, 5};
constexpr int kFastest = std::numeric_limits<signed char>::max();
constexpr int kUnknownRate = 30;  // of cameras that do not report theirs

/// The sizes and rates of a camera, which are the same for all formats.
struct Limits {
    std::vector<std::pair<int, int>> sizes;
    std::vector<int> rates;
    typedefNubrixFrameMode found;
};

bool fits(int value, int least, int most, int step)
{
    return value >= least && value <= most &&
           (std::int64_t{value} - least) % std::max(step, 1) == 0;
}

std::vector<std::pair<int, int>> readSizes(ArvCamera &camera, typedefNubrixFrameMode &found)
{
    int least[2] = {0, 0};
    int most[2] = {0, 0};
    int now[4] = {0, 0, 0, 0};
    arv_camera_get_width_bounds(&camera, &least[0], &most[0], nullptr);
    arv_camera_get_height_bounds(&camera, &least[1], &most[1], nullptr);
    arv_camera_get_region(&camera, &now[0], &now[1], &now[2], &now[3], nullptr);
    const int steps[2] = {arv_camera_get_width_increment(&camera, nullptr),
                          arv_camera_get_height_increment(&camera, nullptr)};
    constexpr int kLargest = std::numeric_limits<unsigned short>::max();
    constexpr int kMostPixels = 1 << 26;
    std::vector<std::pair<int, int>> sizes;
    const auto add = [&](int width, int height) {
        const std::pair<int, int> size(width, height);
        if (width > 0 && height > 0 && width <= kLargest && height <= kLargest &&
            std::int64_t{width} * height <= kMostPixels &&
            std::find(sizes.begin(), sizes.end(), size) == sizes.end())
            sizes.push_back(size);
    };
    add(now[2], now[3]);
    add(most[0], most[1]);
    for (const auto &size : kSizes) {
        if (fits(size[0], least[0], most[0], steps[0]) &&
            fits(size[1], least[1], most[1], steps[1]))
            add(size[0], size[1]);
    }
    found.width = static_cast<unsigned short>(std::clamp(now[2], 0, kLargest));
    found.height = static_cast<unsigned short>(std::clamp(now[3], 0, kLargest));
    return sizes;
}

std::vector<int> readRates(ArvCamera &camera, typedefNubrixFrameMode &found)
{
    found.frameRate = kUnknownRate;
    if (!arv_camera_is_frame_rate_available(&camera, nullptr))
        return {kUnknownRate};
    double least = 0;
    double most = 0;
    arv_camera_get_frame_rate_bounds(&camera, &least, &most, nullptr);
    const double now = arv_camera_get_frame_rate(&camera, nullptr);
    const auto rounded = [](double rate) {  // also of NaN
        return rate > 1 ? static_cast<int>(std::lround(std::min(rate, double{kFastest}))) : 1;
    };
    found.frameRate = static_cast<signed char>(rounded(now));
    std::vector<int> rates = {rounded(now)};
    const auto add = [&](int rate) {
        if (std::find(rates.begin(), rates.end(), rate) == rates.end())
            rates.push_back(rate);
    };
    if (most >= 1 && most < kFastest)
        add(static_cast<int>(most));
    for (const int rate : kRates) {
        if (rate >= least && rate <= most)
            add(rate);
    }
    return rates;
}

void readFormatsOf(ArvCamera &camera, const std::string &component,
                   std::vector<AvailableFormat> &available)
{
    guint count = 0;
    const MemoryPtr<gint64> codes(arv_camera_dup_available_pixel_formats(&camera, &count, nullptr));
    for (guint i = 0; codes && i < count; ++i)
        available.push_back({component, static_cast<std::uint32_t>(codes.get()[i])});
}

std::vector<AvailableFormat> readFormats(ArvCamera &camera)
{
    std::vector<AvailableFormat> available;
    guint count = 0;
    if (arv_camera_is_component_available(&camera, nullptr)) {
        const MemoryPtr<const char *> components(
            arv_camera_dup_available_components(&camera, &count, nullptr));
        for (guint i = 0; components && i < count; ++i) {
            const std::string component = components.get()[i];
            if (arv_camera_select_component(&camera, component.c_str(),
                                            ARV_COMPONENT_SELECTION_FLAGS_NONE, nullptr, nullptr))
                readFormatsOf(camera, component, available);
        }
    }
    if (available.empty())
        readFormatsOf(camera, "", available);
    return available;
}

/// Whether a component fits the stream of a format; the names are those of the GenICam standard.
bool fitsStream(const std::string &component, const PixelFormat &format)
{
    const bool isRange = component == "Range";
    if (format.streamType == NUBRIX_STREAM_DEPTH)
        return component.empty() || isRange;
    return !isRange && component != "Disparity" && component != "Confidence";
}

void addModes(StreamModes &modes, const Limits &limits)
{
    for (const auto &[width, height] : limits.sizes) {
        const bool inPairs =
            modes.format->layout == Layout::kYuyv || modes.format->layout == Layout::kUyvy;
        for (const int rate : limits.rates) {
            if (!inPairs || width % 2 == 0) {
                modes.records.push_back(
                    {modes.format->pixelFormat, static_cast<unsigned short>(width),
                     static_cast<unsigned short>(height), static_cast<signed char>(rate)});
            }
        }
    }
    const auto order = [](const typedefNubrixFrameMode &mode) {
        return std::make_tuple(-static_cast<int>(mode.width) * mode.height, -mode.width,
                               -mode.frameRate);
    };
    std::sort(modes.records.begin(), modes.records.end(),
              [&](const auto &a, const auto &b) { return order(a) < order(b); });
    typedefNubrixFrameMode found = limits.found;
    found.pixelFormat = modes.format->pixelFormat;
    if (!modes.records.empty())
        modes.first = modes.nearest(found);
}

/// Whether a format of the camera is the one that the settings name.
bool isNamed(const AvailableFormat &candidate, const PixelFormat &format, const std::string &wanted)
{
    const std::size_t colon = wanted.find(':');
    if (colon == std::string::npos)
        return format.name == wanted && fitsStream(candidate.component, format);
    return format.name == wanted.substr(colon + 1) &&
           candidate.component == wanted.substr(0, colon);
}

}  // namespace

Sensor readSensor(ArvCamera &camera)
{
    Sensor sensor = {};
    arv_camera_get_width_bounds(&camera, nullptr, &sensor.width, nullptr);
    arv_camera_get_height_bounds(&camera, nullptr, &sensor.height, nullptr);
    // The bounds are those at the offset that the camera is set to.
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

RegionOffset offsetOf(const Sensor &sensor, const typedefNubrixFrameMode &mode,
                      const PixelFormat &format)
{
    const bool isMosaic = format.layout == Layout::kMosaic;
    const bool isInPairs =
        isMosaic || format.layout == Layout::kYuyv || format.layout == Layout::kUyvy;
    return {middle(sensor.width, mode.width, sensor.stepX, isInPairs),
            middle(sensor.height, mode.height, sensor.stepY, isMosaic)};
}

void chooseFormat(StreamModes &modes, const std::vector<AvailableFormat> &available,
                  const std::string &wanted, bool mono16IsDepth)
{
    const bool isDepth = modes.streamType == NUBRIX_STREAM_DEPTH;
    for (const AvailableFormat &candidate : available) {
        const PixelFormat *format = findPixelFormat(candidate.code, modes.streamType);
        if (format == nullptr)
            continue;
        if (!wanted.empty() ? !isNamed(candidate, *format, wanted)
                            : !fitsStream(candidate.component, *format))
            continue;
        const bool isMono16 = findPixelFormat("Mono16", modes.streamType) == format;
        if (wanted.empty() && isMono16 && isDepth != mono16IsDepth && candidate.component.empty())
            continue;
        if (modes.format == nullptr || rankOf(*format) < rankOf(*modes.format)) {
            modes.format = format;
            modes.component = candidate.component;
        }
    }
}

CameraModes readModes(ArvCamera &camera, const NetSettings &settings, const std::string &serial)
{
    const std::vector<AvailableFormat> available = readFormats(camera);
    Limits limits = {};
    limits.sizes = readSizes(camera, limits.found);
    limits.rates = readRates(camera, limits.found);
    const bool hasDepthFormat =
        std::any_of(available.begin(), available.end(), [](const AvailableFormat &candidate) {
            return candidate.code == ARV_PIXEL_FORMAT_COORD3D_C_16;
        });
    const bool mono16IsDepth = !hasDepthFormat && arv_camera_is_feature_available(
                                                      &camera, "Scan3dCoordinateScale", nullptr);
    CameraModes modes;
    modes[0].streamType = NUBRIX_STREAM_COLOR;
    modes[1].streamType = NUBRIX_STREAM_DEPTH;
    modes[2].streamType = NUBRIX_STREAM_IR;
    for (StreamModes &stream : modes) {
        const char *name = streamName(stream.streamType);
        const std::string wanted = settings.formatOf(serial, name);
        chooseFormat(stream, available, wanted, mono16IsDepth);
        if (stream.format != nullptr) {
            addModes(stream, limits);
        } else if (!wanted.empty()) {
            std::string line = "nubrixNet.ini: ";
            line.append(wanted).append(" is not a pixel format of ").append(serial);
            kReporter.error(line.append(" for its ").append(name).append(" stream"));
        }
    }
    return modes;
}

}  // namespace nubrix::net
