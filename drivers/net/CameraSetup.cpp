#include "net/CameraSetup.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "common/ModeTable.h"
#include "net/Aravis.h"
#include "net/NetSettings.h"

namespace nubrix::net {

namespace {

constexpr int kLoopbackPacket = 8192;
constexpr int kSocketBuffer = 4 << 20;  // bytes; the kernel may give less
constexpr unsigned int kPacketTimeoutUs = 20000;

bool isLoopback(const std::string &address)
{
    return address.compare(0, 4, "127.") == 0;
}

void setRegion(ArvCamera &camera, const CameraSetup &setup, Error &error)
{
    const int width = setup.mode.width;
    const int height = setup.mode.height;
    if (setup.sensor.stepX == 0) {
        arv_camera_set_region(&camera, -1, -1, width, height, error.out());
        return;
    }
    // Without an offset every size fits.
    arv_camera_set_region(&camera, 0, 0, width, height, error.out());
    const RegionOffset offset = offsetOf(setup.sensor, setup.mode, setup.format);
    if (!error && (offset.x != 0 || offset.y != 0))
        arv_camera_set_region(&camera, offset.x, offset.y, width, height, error.out());
}

bool has(ArvCamera &camera, const char *feature)
{
    return arv_camera_is_feature_available(&camera, feature, nullptr) != FALSE;
}

bool isChosen(ArvCamera &camera, const char *feature, const char *choice)
{
    const char *current =
        has(camera, feature) ? arv_camera_get_string(&camera, feature, nullptr) : nullptr;
    return current != nullptr && std::strcmp(current, choice) == 0;
}

bool waitsForTriggers(ArvCamera &camera)
{
    constexpr const char *kSelector = "TriggerSelector";
    if (!has(camera, kSelector))
        return isChosen(camera, "TriggerMode", "On");
    const char *current = arv_camera_get_string(&camera, kSelector, nullptr);
    const std::string selected = current == nullptr ? "" : current;
    guint count = 0;
    const MemoryPtr<const char *> triggers(
        arv_camera_dup_available_triggers(&camera, &count, nullptr));
    bool isOn = false;
    for (guint i = 0; triggers && i < count; ++i) {
        arv_camera_set_string(&camera, kSelector, triggers.get()[i], nullptr);
        isOn = isOn || isChosen(camera, "TriggerMode", "On");
    }
    if (!selected.empty())
        arv_camera_set_string(&camera, kSelector, selected.c_str(), nullptr);
    return isOn;
}

/// Sets a choice if the camera has the feature; logs that there is no depth when it cannot be set.
int requireChoice(ArvCamera &camera, const std::string &name, const char *feature,
                  const char *choice)
{
    if (!has(camera, feature))
        return kDone;
    Error error;
    arv_camera_set_string(&camera, feature, choice, nullptr);
    const char *current = arv_camera_get_string(&camera, feature, error.out());
    if (error)
        return reportError(name, error);
    if (current != nullptr && std::strcmp(current, choice) == 0)
        return kDone;
    kReporter.error(name + " cannot deliver depth: its " + feature + " is " +
                    (current ? current : "unknown") + " and cannot be set to " + choice);
    return kUnsupported;
}

/// Reads how many millimetres the unit of distances has.
int readUnit(ArvCamera &camera, const std::string &name, double &unit)
{
    constexpr double kInch = 25.4;
    constexpr const char *kFeature = "Scan3dDistanceUnit";
    if (isChosen(camera, kFeature, "Inch")) {
        unit = kInch;
        return kDone;
    }
    return requireChoice(camera, name, kFeature, "Millimeter");
}

/// Does not change the value when the camera does not have the feature.
int readNumber(ArvCamera &camera, const std::string &name, const char *feature, double &value)
{
    if (!has(camera, feature))
        return kDone;
    Error error;
    const double current = arv_camera_get_float(&camera, feature, error.out());
    if (error)
        return reportError(name + " " + feature, error);
    value = current;
    return kDone;
}

void setPackets(ArvCamera &camera, const CameraSetup &setup, Error &error)
{
    arv_camera_gv_set_stream_options(&camera, setup.usesPacketSocket
                                                  ? ARV_GV_STREAM_OPTION_NONE
                                                  : ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
    arv_camera_gv_set_packet_size_adjustment(&camera, ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
    if (setup.packetSize != 0) {
        arv_camera_gv_set_packet_size(&camera, setup.packetSize, error.out());
        return;
    }
    if (isLoopback(setup.address))
        arv_camera_gv_set_packet_size(&camera, kLoopbackPacket, error.out());
    else
        arv_camera_gv_auto_packet_size(&camera, error.out());
}

int setToDistances(ArvCamera &camera, const std::string &name)
{
    if (const int status = requireChoice(camera, name, "Scan3dOutputMode", "CalibratedC"))
        return status;
    return requireChoice(camera, name, "Scan3dCoordinateSystem", "Cartesian");
}

/// Sets the rate, and does not change triggers. A camera may not have exactly the rate of the mode.
void setRate(ArvCamera &camera, const CameraSetup &setup, Error &error)
{
    const double rate = setup.mode.frameRate;
    for (const char *feature : {"AcquisitionFrameRateEnable", "AcquisitionFrameRateEnabled"}) {
        if (has(camera, feature))
            arv_camera_set_boolean(&camera, feature, TRUE, nullptr);
    }
    for (const char *feature : {"AcquisitionFrameRate", "AcquisitionFrameRateAbs"}) {
        if (!has(camera, feature))
            continue;
        double least = rate;
        double most = rate;
        arv_camera_get_float_bounds(&camera, feature, &least, &most, nullptr);
        const bool hasBounds = least <= most;  // false when one is NaN
        const double nearest = hasBounds ? std::clamp(rate, least, most) : rate;
        arv_camera_set_float(&camera, feature, nearest, error.out());
        break;
    }
    if (error && statusOf(error) == kGone)
        return;
    error.out();
    if (!arv_camera_is_frame_rate_available(&camera, nullptr))
        return;
    const double actual = arv_camera_get_frame_rate(&camera, nullptr);
    if (!(std::abs(actual - rate) <= 0.5)) {
        kReporter.milestone(setup.name + " is set to " + std::to_string(setup.mode.frameRate) +
                            " frames/s, but the camera delivers " + numberText(actual));
    }
}

/// Checks what the camera is set to: it may round values, or ignore them without an error.
int checkMode(ArvCamera &camera, const CameraSetup &setup)
{
    Error error;
    const auto width = arv_camera_get_integer(&camera, "Width", error.out());
    const auto height = error ? 0 : arv_camera_get_integer(&camera, "Height", error.out());
    const auto code = error ? 0 : arv_camera_get_pixel_format(&camera, error.out());
    if (error)
        return reportError(setup.name, error);
    if (width == setup.mode.width && height == setup.mode.height && code == setup.format.code)
        return kDone;
    kReporter.error(setup.name + " " + textOf(setup.mode) + " " + setup.format.name +
                    " is not available, the camera delivers " + std::to_string(width) + "x" +
                    std::to_string(height) + " " + nameOfPixelFormat(code) +
                    ": close it and open it again to see its modes");
    return kBadArgument;
}

}  // namespace

std::string numberText(double number)
{
    char text[32];
    const auto [end, failure] =
        std::to_chars(text, text + sizeof text, number, std::chars_format::general, 6);
    return failure == std::errc() ? std::string(text, end) : "";
}

int setUpCamera(ArvCamera &camera, const CameraSetup &setup)
{
    Error error;
    if (!setup.component.empty()) {
        arv_camera_select_component(&camera, setup.component.c_str(),
                                    ARV_COMPONENT_SELECTION_FLAGS_EXCLUSIVE_ENABLE, nullptr,
                                    error.out());
    }
    if (!error && setup.format.layout == Layout::kDepth) {
        if (const int status = setToDistances(camera, setup.name))
            return status;
    }
    if (!error)
        arv_camera_set_pixel_format(&camera, setup.format.code, error.out());
    if (!error)
        setRegion(camera, setup, error);
    if (!error)
        setRate(camera, setup, error);
    if (!error)
        setPackets(camera, setup, error);
    if (!error)
        arv_camera_set_acquisition_mode(&camera, ARV_ACQUISITION_MODE_CONTINUOUS, error.out());
    return error ? reportError(setup.name, error) : checkMode(camera, setup);
}

void configureStream(ArvStream &stream, int frameRate)
{
    // Frames that wait for lost packets must not use up all buffers.
    const auto retentionUs =
        static_cast<unsigned int>(std::clamp(3 * 1000000 / std::max(frameRate, 1), 40000, 100000));
    g_object_set(&stream, "packet-resend", ARV_GV_STREAM_PACKET_RESEND_ALWAYS, "packet-timeout",
                 kPacketTimeoutUs, "frame-retention", retentionUs, "socket-buffer",
                 ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size", kSocketBuffer, nullptr);
}

std::chrono::milliseconds frameTimeoutOf(ArvCamera &camera)
{
    constexpr std::chrono::milliseconds kLeast{3000};
    constexpr std::chrono::milliseconds kMost{60000};
    if (waitsForTriggers(camera))
        return std::chrono::milliseconds(0);
    if (!arv_camera_is_frame_rate_available(&camera, nullptr))
        return kLeast;
    const double rate = arv_camera_get_frame_rate(&camera, nullptr);
    if (!(rate >= 0.05))  // or NaN
        return kMost;
    return std::clamp(std::chrono::milliseconds(std::lround(3000 / rate)), kLeast, kMost);
}

int readDepthScale(ArvCamera &camera, const std::string &name, DepthScale &depth)
{
    // The features below are those of the selected coordinate.
    if (const int status = requireChoice(camera, name, "Scan3dCoordinateSelector", "CoordinateC"))
        return status;
    DepthScale read;
    double unit = 1;
    if (const int status = readUnit(camera, name, unit))
        return status;
    for (const auto &[feature, value] :
         {std::pair<const char *, double *>("Scan3dCoordinateScale", &read.scale),
          {"Scan3dCoordinateOffset", &read.offset},
          {"Scan3dInvalidDataValue", &read.invalid}}) {
        if (const int status = readNumber(camera, name, feature, *value))
            return status;
    }
    if (has(camera, "Scan3dInvalidDataFlag") &&
        arv_camera_get_boolean(&camera, "Scan3dInvalidDataFlag", nullptr) == FALSE)
        read.invalid = DepthScale().invalid;
    read.scale *= unit;
    read.offset *= unit;
    if (!std::isfinite(read.scale) || read.scale <= 0 || !std::isfinite(read.offset)) {
        kReporter.error(name + " cannot deliver depth: a count is " + numberText(read.scale) +
                        " mm from " + numberText(read.offset) + " mm on");
        return kUnsupported;
    }
    depth = read;
    return kDone;
}

}  // namespace nubrix::net
