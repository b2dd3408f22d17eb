#include "net/CameraSetup.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "net/Report.h"

namespace nubrix {

namespace {

constexpr int kLoopbackPacket = 8192;
constexpr int kSocketBuffer = 4 << 20;  // bytes; the kernel gives what it may
constexpr unsigned int kPacketTimeoutUs = 20000;

bool isLoopback(const std::string &address)
{
    return address.compare(0, 4, "127.") == 0;
}

/// In the middle, where steps allow it.
void centre(ArvCamera &camera, const CameraSetup &setup, Error &error)
{
    if (!arv_camera_is_region_offset_available(&camera, nullptr)) {
        arv_camera_set_region(&camera, -1, -1, setup.mode.width, setup.mode.height, error.out());
        return;
    }
    // Offsets first make room for the size.
    arv_camera_set_region(&camera, 0, 0, setup.mode.width, setup.mode.height, error.out());
    int most[2] = {0, 0};
    arv_camera_get_width_bounds(&camera, nullptr, &most[0], nullptr);
    arv_camera_get_height_bounds(&camera, nullptr, &most[1], nullptr);
    const int steps[2] = {std::max(arv_camera_get_x_offset_increment(&camera, nullptr), 1),
                          std::max(arv_camera_get_y_offset_increment(&camera, nullptr), 1)};
    const int x = std::max(most[0] - setup.mode.width, 0) / 2 / steps[0] * steps[0];
    const int y = std::max(most[1] - setup.mode.height, 0) / 2 / steps[1] * steps[1];
    if (!error && (x != 0 || y != 0))
        arv_camera_set_region(&camera, x, y, setup.mode.width, setup.mode.height, error.out());
}

bool has(ArvCamera &camera, const char *feature)
{
    return arv_camera_is_feature_available(&camera, feature, nullptr) != FALSE;
}

bool isChosen(ArvCamera &camera, const char *feature, const char *choice)
{
    const char *told =
        has(camera, feature) ? arv_camera_get_string(&camera, feature, nullptr) : nullptr;
    return told != nullptr && std::strcmp(told, choice) == 0;
}

bool waitsForTriggers(ArvCamera &camera)
{
    constexpr const char *kSelector = "TriggerSelector";
    if (!has(camera, kSelector))
        return isChosen(camera, "TriggerMode", "On");
    const char *told = arv_camera_get_string(&camera, kSelector, nullptr);
    const std::string selected = told == nullptr ? "" : told;
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

/// Sets a choice where the camera has it; says so when depth cannot be had for want of it.
int insist(ArvCamera &camera, const std::string &name, const char *feature, const char *choice)
{
    if (!has(camera, feature))
        return kDone;
    Error error;
    arv_camera_set_string(&camera, feature, choice, nullptr);
    const char *told = arv_camera_get_string(&camera, feature, error.out());
    if (error)
        return tellFailure(name, error);
    if (told != nullptr && std::strcmp(told, choice) == 0)
        return kDone;
    report(name + " cannot show depth: its " + feature + " is " + (told ? told : "unknown") +
           " and cannot be set to " + choice);
    return kUnsupported;
}

/// Millimetres of a unit of distances.
int readUnit(ArvCamera &camera, const std::string &name, double &unit)
{
    constexpr double kInch = 25.4;
    constexpr const char *kFeature = "Scan3dDistanceUnit";
    if (isChosen(camera, kFeature, "Inch")) {
        unit = kInch;
        return kDone;
    }
    return insist(camera, name, kFeature, "Millimeter");
}

/// Leaves the value alone when the camera has no such feature.
int readNumber(ArvCamera &camera, const std::string &name, const char *feature, double &value)
{
    if (!has(camera, feature))
        return kDone;
    Error error;
    const double told = arv_camera_get_float(&camera, feature, error.out());
    if (error)
        return tellFailure(name + " " + feature, error);
    value = told;
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

}  // namespace

int statusOf(const Error &error)
{
    if (!error)
        return kDone;
    if (error.get()->domain != ARV_DEVICE_ERROR)
        return kBadArgument;
    switch (error.get()->code) {
        case ARV_DEVICE_ERROR_TIMEOUT:
        case ARV_DEVICE_ERROR_NOT_CONNECTED:
        case ARV_DEVICE_ERROR_TRANSFER_ERROR:
            return kGone;
        case ARV_DEVICE_ERROR_NOT_CONTROLLER:
            return kWrongState;
        case ARV_DEVICE_ERROR_FEATURE_NOT_FOUND:
        case ARV_DEVICE_ERROR_NO_STREAM_CHANNEL:
            return kUnsupported;
        case ARV_DEVICE_ERROR_INVALID_PARAMETER:
        case ARV_DEVICE_ERROR_WRONG_FEATURE:
            return kBadArgument;
        default:
            return kFailed;
    }
}

int tellFailure(const std::string &name, const Error &error)
{
    const int status = statusOf(error);
    if (status == kGone)
        report(name + " does not answer: check its cable and its power, then open it again");
    else if (status == kWrongState)
        report(name + " is no longer ours to control: another application has taken it");
    else
        report(name + " failed: " + error.text());
    return status;
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
        for (const auto &[feature, choice] :
             {std::pair<const char *, const char *>("Scan3dOutputMode", "CalibratedC"),
              {"Scan3dCoordinateSystem", "Cartesian"}}) {
            if (const int status = insist(camera, setup.name, feature, choice))
                return status;
        }
    }
    if (!error)
        arv_camera_set_pixel_format(&camera, setup.format.code, error.out());
    if (!error)
        centre(camera, setup, error);
    if (!error && arv_camera_is_frame_rate_available(&camera, nullptr))
        arv_camera_set_frame_rate(&camera, setup.mode.frameRate, error.out());
    if (!error)
        setPackets(camera, setup, error);
    if (!error)
        arv_camera_set_acquisition_mode(&camera, ARV_ACQUISITION_MODE_CONTINUOUS, error.out());
    return error ? tellFailure(setup.name, error) : kDone;
}

void tuneStream(ArvStream &stream, int frameRate)
{
    // Pictures that wait for lost packets must not take every frame in flight.
    const auto retentionUs =
        static_cast<unsigned int>(std::clamp(3 * 1000000 / std::max(frameRate, 1), 40000, 100000));
    g_object_set(&stream, "packet-resend", ARV_GV_STREAM_PACKET_RESEND_ALWAYS, "packet-timeout",
                 kPacketTimeoutUs, "frame-retention", retentionUs, "socket-buffer",
                 ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size", kSocketBuffer, nullptr);
}

std::chrono::milliseconds patienceFor(ArvCamera &camera)
{
    constexpr std::chrono::milliseconds kLeast{3000};
    constexpr std::chrono::milliseconds kMost{60000};
    if (waitsForTriggers(camera))
        return std::chrono::milliseconds(0);
    if (!arv_camera_is_frame_rate_available(&camera, nullptr))
        return kLeast;
    const double rate = std::max(arv_camera_get_frame_rate(&camera, nullptr), 0.01);
    return std::clamp(std::chrono::milliseconds(std::lround(3000 / rate)), kLeast, kMost);
}

int readDepthScale(ArvCamera &camera, const std::string &name, DepthScale &depth)
{
    // The features that follow are those of the coordinate that is selected.
    if (const int status = insist(camera, name, "Scan3dCoordinateSelector", "CoordinateC"))
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
        report(name + " cannot show depth: a count is " + std::to_string(read.scale) + " mm from " +
               std::to_string(read.offset) + " mm on");
        return kUnsupported;
    }
    depth = read;
    return kDone;
}

}  // namespace nubrix
