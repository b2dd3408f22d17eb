// Frames as picture files.
#pragma once

#include <optional>
#include <string>
#include <vector>
#include "output/FrameImage.h"

namespace nubrix::tool {

/// Writes BASE.png, of depth also BASE-color.png in false colours; a JPEG frame as it is, as
/// BASE.jpg. Returns the paths. Throws a Failure.
std::vector<std::string> saveFrame(const FrameCopy &frame, const std::string &base);

/// Copies frames: the library's own are given back at once, so that the camera never waits.
///
/// Not thread-safe.
class FirstAndLastFrame {
public:
    /// Takes a copy of a whole frame.
    void keep(const typedefNubrixFrame &frame);

    /// Writes DIR/NAME-first.png and DIR/NAME-last.png, depth also in colour as
    /// DIR/NAME-first-color.png and so on; JPEG frames as they are, with ".jpg". Returns the paths,
    /// none when no frame was kept. Throws a Failure.
    std::vector<std::string> save(const std::string &folder, const std::string &name) const;

private:
    std::optional<FrameCopy> m_first;
    FrameCopy m_last;  // meaningful if there is a first
};

}  // namespace nubrix::tool
