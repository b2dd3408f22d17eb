// A stream mode as the user asks for it, and the search for it among those that a camera offers.
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

/// Reads "640x480@30"; none when the text is anything else or a number is 0 or above 65535.
std::optional<ModeRequest> parseMode(const std::string &text);

/// "640x480@30".
std::string modeText(const typedefNubrixFrameMode &mode);

/// The offered mode that is wanted; among those of one size and rate, the one with this pixel
/// format if there is one. None if the camera cannot do it.
std::optional<typedefNubrixFrameMode> findMode(const std::vector<typedefNubrixFrameMode> &offered,
                                               const ModeRequest &wanted, unsigned int pixelFormat);

/// Why findMode found none: names the field that is wrong and the nearest mode. `offered` must not
/// be empty.
std::string explainMissingMode(const std::vector<typedefNubrixFrameMode> &offered,
                               const ModeRequest &wanted);

}  // namespace nubrix::tool
