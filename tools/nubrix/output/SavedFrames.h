// Frames saved as image files.
#pragma once

#include <optional>
#include <string>
#include <vector>
#include "output/FrameImage.h"

namespace nubrix::tool {

/// Writes BASE.png, for depth also BASE-color.png in false colours, and for a JPEG frame BASE.jpg
/// without conversion. Returns the paths. Throws a std::runtime_error.
std::vector<std::string> saveFrame(const FrameCopy &frame, const std::string &base);

/// The first and the last complete frame of a stream. They are copies, so that the library's pool
/// has frames left for the camera.
///
/// Not thread-safe.
class FirstAndLastFrame {
public:
    /// Copies a complete frame.
    void add(const typedefNubrixFrame &frame);

    /// Writes DIR/NAME-first.png and DIR/NAME-last.png, depth also in colour as
    /// DIR/NAME-first-color.png and so on; JPEG frames with ".jpg". Returns the paths, none when no
    /// frame was added. Throws a std::runtime_error.
    std::vector<std::string> save(const std::string &folder, const std::string &name) const;

private:
    std::optional<FrameCopy> m_first;
    FrameCopy m_last;  // valid if there is a first frame
};

}  // namespace nubrix::tool
