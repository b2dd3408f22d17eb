// Sets a network camera to a mode, and configures its packets.
#pragma once

#include <chrono>
#include <string>

#include "net/Aravis.h"
#include "net/CameraModes.h"
#include "net/FrameConverter.h"
#include "net/PixelFormats.h"
#include "nubrix/types.h"

namespace nubrix::net {

struct CameraSetup {
    std::string name;     ///< in messages
    std::string address;  ///< of this machine, on the camera's network
    Sensor sensor;
    typedefNubrixFrameMode mode;
    PixelFormat format;
    std::string component;  ///< empty: the camera has none
    int packetSize;         ///< bytes, 0: negotiated
    bool usesPacketSocket;
};

/// A number of up to six digits with a decimal point, whatever the locale. Thread-safe.
std::string numberText(double number);

/// Sets component, format, region, rate and packets; the region is the middle of the sensor.
/// Returns a status and logs the reason: -4 also when the camera then has another size or format.
/// When it has another rate, that is only logged. Not thread-safe.
int setUpCamera(ArvCamera &camera, const CameraSetup &setup);

/// The longest time between two frames of a camera that is set up; 0: no limit, because it waits
/// for triggers. Not thread-safe.
std::chrono::milliseconds frameTimeoutOf(ArvCamera &camera);

/// Sets packet resending and the socket buffer of a new stream. Not thread-safe.
void configureStream(ArvStream &stream, int frameRate);

/// Reads how the depth counts of a camera that is set up become distances along the optical axis.
/// -8, with a line in the log, when they cannot. `name` is the camera in that line. Not
/// thread-safe.
int readDepthScale(ArvCamera &camera, const std::string &name, DepthScale &depth);

}  // namespace nubrix::net
