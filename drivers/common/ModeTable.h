// The modes of a stream, and their texts in reports.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "nubrix/types.h"

namespace nubrix {

/// The modes of one stream. Not thread-safe.
struct ModeTable {
    unsigned int streamType;
    std::vector<typedefNubrixFrameMode> records = {};  ///< each size at each rate, largest first

    /// Index of a mode in the records, or their number if it is not among them.
    std::size_t find(const typedefNubrixFrameMode &mode) const;
    /// Index of 640x480 at 30 frames/s, or of the mode nearest to it. The records must not be
    /// empty.
    std::size_t defaultMode() const;
    /// Index of the mode that is nearest to an unsupported one. The records must not be empty.
    std::size_t nearest(const typedefNubrixFrameMode &mode) const;
    /// Text for an unsupported mode: which field no record has, and the nearest mode.
    std::string refusal(const typedefNubrixFrameMode &mode) const;
};

/// Whether all fields are equal. Thread-safe.
bool isSame(const typedefNubrixFrameMode &left, const typedefNubrixFrameMode &right);

/// Bytes of a pixel in a frame. Thread-safe.
unsigned int pixelBytes(unsigned int pixelFormat);

/// "color", "depth", "ir", "light-ir". Thread-safe.
const char *streamName(unsigned int streamType);

/// "640x480 at 30 frames/s". Thread-safe.
std::string textOf(const typedefNubrixFrameMode &mode);

}  // namespace nubrix
