// A stream mode that the user requests, and the search for it in the modes of a camera.
#pragma once

#include <optional>
#include <string>
#include <vector>
#include "nubrix/types.h"

namespace nubrix::tool {

struct ModeRequest {
    unsigned int width;      // pixels
    unsigned int height;     // pixels
    unsigned int frameRate;  // frames per second
};

/// Parses "640x480@30"; none for any other text, and when a number is 0 or above 65535.
std::optional<ModeRequest> parseMode(const std::string &text);

/// "640x480@30".
std::string modeText(const typedefNubrixFrameMode &mode);

/// The requested mode, if possible with this pixel format. None if the camera does not offer it.
std::optional<typedefNubrixFrameMode> findMode(const std::vector<typedefNubrixFrameMode> &offered,
                                               const ModeRequest &wanted, unsigned int pixelFormat);

/// The reason why findMode found none: the unsupported field, and the nearest mode. `offered` must
/// not be empty.
std::string explainMissingMode(const std::vector<typedefNubrixFrameMode> &offered,
                               const ModeRequest &wanted);

}  // namespace nubrix::tool
