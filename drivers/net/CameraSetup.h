// Sets a network camera to a mode, and the way of its packets.
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

/// Sets component, format, region, rate and packets; the region is the middle of what the camera
/// sees. Returns a status and says why: -4 also when the camera then gives another size or format.
/// A rate that it does not give is only told. Not thread-safe.
int setUpCamera(ArvCamera &camera, const CameraSetup &setup);

/// How long a camera that is set up may take for its next picture; 0: as long as it likes, because
/// it waits for triggers. Not thread-safe.
std::chrono::milliseconds frameTimeoutOf(ArvCamera &camera);

/// Sets resending and room of a stream that has just been made. Not thread-safe.
void tuneStream(ArvStream &stream, int frameRate);

/// What a camera that is set up tells of its depth counts. -8, with a line, when no distances along
/// the axis of view follow from them. `name` is in messages. Not thread-safe.
int readDepthScale(ArvCamera &camera, const std::string &name, DepthScale &depth);

}  // namespace nubrix::net
