// The modes of a network camera's streams, as its features tell them.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "common/ModeTable.h"
#include "net/GLibPtr.h"
#include "net/NetSettings.h"
#include "net/PixelFormats.h"

namespace nubrix {

/// The modes of one stream. Not thread-safe.
struct StreamModes : ModeTable {
    const PixelFormat *format = nullptr;  ///< what the camera is set to; nothing without modes
    std::string component;                ///< that the camera is set to, if it has any
    std::size_t first = 0;                ///< the mode that the camera was found in, or near
};

/// The color, depth and ir streams of a camera; those that it lacks have no records.
using CameraModes = std::array<StreamModes, 3>;

/// Asks the camera, and the settings of its serial number.
CameraModes readModes(ArvCamera &camera, const NetSettings &settings, const std::string &serial);

}  // namespace nubrix
