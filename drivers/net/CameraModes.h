// What a camera can be set to: its sensor, and the modes of its streams.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/ModeTable.h"
#include "net/Aravis.h"
#include "net/NetSettings.h"
#include "net/PixelFormats.h"
#include "nubrix/types.h"

namespace nubrix::net {

/// All that a camera sees, in pixels.
struct Sensor {
    int width;
    int height;
    int stepX;  ///< of places that a picture can be moved to; 0: pictures cannot be moved
    int stepY;
};

/// Of a picture's first pixel.
struct Place {
    int x;
    int y;
};

/// What the camera tells, whatever region it is set to. Not thread-safe.
Sensor readSensor(ArvCamera &camera);

/// As near to the middle as steps allow, and the pattern of a format that repeats every two pixels.
/// Where pictures cannot be moved it is 0, 0. Thread-safe.
Place placeOf(const Sensor &sensor, const typedefNubrixFrameMode &mode, const PixelFormat &format);

/// The modes of one stream. Not thread-safe.
struct StreamModes : ModeTable {
    const PixelFormat *format = nullptr;  ///< what the camera is set to; nothing without modes
    std::string component;                ///< that the camera is set to, if it has any
    std::size_t first = 0;                ///< the mode that the camera was found in, or near
};

/// The color, depth and ir streams of a camera; those that it lacks have no records.
using CameraModes = std::array<StreamModes, 3>;

/// A pixel format that a camera can be set to.
struct Offer {
    std::string component;  ///< empty: the camera has none
    std::uint32_t code;
};

/// Chooses format and component of a stream: what `wanted` names, "Format" or "Component:Format",
/// or the best one where it is empty. Of a component that is not named only its own kind of stream
/// is made; Mono16 without a component is depth or infrared as `mono16IsDepth` says. Not
/// thread-safe.
void choose(StreamModes &modes, const std::vector<Offer> &offers, const std::string &wanted,
            bool mono16IsDepth);

/// Asks the camera, and the settings of its serial number. Not thread-safe.
CameraModes readModes(ArvCamera &camera, const NetSettings &settings, const std::string &serial);

}  // namespace nubrix::net
