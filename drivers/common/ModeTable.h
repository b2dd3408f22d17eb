// The modes of a stream and how drivers speak of them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "nubrix/types.h"

namespace nubrix {

/// Not thread-safe.
struct ModeTable {
    unsigned int streamType;
    std::vector<typedefNubrixFrameMode> records = {};  ///< each size at each rate, largest first

    /// Place of a mode among the records, or their number if it is not among them.
    std::size_t find(const typedefNubrixFrameMode &mode) const;
    /// 640x480 at 30 frames/s, or what comes next to it. There must be records.
    std::size_t defaultMode() const;
    /// Place of the mode that comes next to one that cannot be had. There must be records.
    std::size_t nearest(const typedefNubrixFrameMode &mode) const;
    /// Names the field of a mode that cannot be had and the nearest mode.
    std::string refusal(const typedefNubrixFrameMode &mode) const;
};

/// Whether all fields are the same. Thread-safe.
bool isSame(const typedefNubrixFrameMode &left, const typedefNubrixFrameMode &right);

/// Bytes of a pixel in a frame. Thread-safe.
unsigned int pixelBytes(unsigned int pixelFormat);

/// "color", "depth", "ir". Thread-safe.
const char *streamName(unsigned int streamType);

/// "640x480 at 30 frames/s". Thread-safe.
std::string textOf(const typedefNubrixFrameMode &mode);

}  // namespace nubrix
