#include "net/CameraSetup.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

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

DepthScale readDepthScale(ArvCamera &camera)
{
    const auto read = [&](const char *feature, double &value) {
        Error error;
        if (!arv_camera_is_feature_available(&camera, feature, nullptr))
            return;
        const double told = arv_camera_get_float(&camera, feature, error.out());
        if (!error)
            value = told;
    };
    DepthScale depth = {1.0, 0.0, 0.0};
    read("Scan3dCoordinateScale", depth.scale);
    read("Scan3dCoordinateOffset", depth.offset);
    read("Scan3dInvalidDataValue", depth.invalid);
    return depth;
}

}  // namespace nubrix
