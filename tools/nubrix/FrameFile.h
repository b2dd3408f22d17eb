// Frames as picture files.
#pragma once

#include <string>
#include <vector>

#include "FrameImage.h"

namespace nubrix {

/// Writes BASE.png, of depth also BASE-color.png in false colours; a JPEG frame as it is, as
/// BASE.jpg. Returns the paths. Throws a Failure.
std::vector<std::string> saveFrame(const FrameCopy &frame, const std::string &base);

}  // namespace nubrix
