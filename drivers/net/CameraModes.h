// What a camera can be set to: regions of its sensor and modes of its streams.
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

/// The whole area of pixels of a camera.
struct Sensor {
    int width;
    int height;
    int stepX;  ///< offsets of a region are multiples of the steps; 0: regions cannot be moved
    int stepY;
};

/// The first pixel of a region.
struct RegionOffset {
    int x;
    int y;
};

/// Reads the sensor, whatever region the camera is set to. Not thread-safe.
Sensor readSensor(ArvCamera &camera);

/// The offset that centres the frames of a mode, as far as the steps allow, and the formats whose
/// colours repeat every two pixels. 0, 0 where regions cannot be moved. Thread-safe.
RegionOffset offsetOf(const Sensor &sensor, const typedefNubrixFrameMode &mode,
                      const PixelFormat &format);

/// The modes of one stream. Not thread-safe.
struct StreamModes : ModeTable {
    const PixelFormat *format = nullptr;  ///< format that the camera is set to; null: no modes
    std::string component;                ///< component that the camera is set to, if it has any
    std::size_t first = 0;                ///< index of the mode nearest to the camera's own
};

/// The color, depth and ir streams of a camera; those that it does not have are without records.
using CameraModes = std::array<StreamModes, 3>;

/// A pixel format that a camera can be set to.
struct AvailableFormat {
    std::string component;  ///< empty: the camera has none
    std::uint32_t code;
};

/// Chooses format and component of a stream: those that `wanted` names, "Format" or
/// "Component:Format", or the best ones when it is empty. A component that is not named is used for
/// streams of its own kind only; Mono16 without a component is depth if `mono16IsDepth`, infrared
/// otherwise. Not thread-safe.
void chooseFormat(StreamModes &modes, const std::vector<AvailableFormat> &available,
                  const std::string &wanted, bool mono16IsDepth);

/// Reads the modes from the camera and the settings of its serial number. Not thread-safe.
CameraModes readModes(ArvCamera &camera, const NetSettings &settings, const std::string &serial);

}  // namespace nubrix::net
