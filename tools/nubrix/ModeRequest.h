// A stream mode that the user requests, and the search for it in the modes of a camera.
#pragma once

#include <optional>
#include <string>
#include <vector>
#include "nubrix/client/camera.h"

namespace nubrix::tool {

struct ModeRequest {
    int width;   // pixels
    int height;  // pixels
    int framesPerSecond;
};

/// Parses "640x480@30"; none for any other text, and when a number is 0 or above 65535.
std::optional<ModeRequest> parseMode(const std::string &text);

/// "640x480@30".
std::string modeText(const client::Mode &mode);

/// The requested mode, if possible with this pixel format. None if the camera does not offer it.
std::optional<client::Mode> findMode(const std::vector<client::Mode> &offered,
                                     const ModeRequest &wanted, NubrixPixelFormat format);

/// The reason why findMode found none: the unsupported field, and the nearest mode. `offered` must
/// not be empty.
std::string explainMissingMode(const std::vector<client::Mode> &offered, const ModeRequest &wanted);

}  // namespace nubrix::tool
