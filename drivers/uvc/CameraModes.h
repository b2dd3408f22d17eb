// The modes of a camera's streams, as its nodes enumerate them.
#pragma once

#include <linux/videodev2.h>
#include <array>
#include <cstddef>
#include <vector>

#include "common/ModeTable.h"
#include "uvc/NodeIo.h"
#include "uvc/SourceFormat.h"

namespace nubrix {

/// What a node must be set to for a mode.
struct SourceMode {
    const SourceFormat *format;
    v4l2_fract interval;  ///< seconds from frame to frame; 0/0 when the node has no say in it
    /// One that gives the same mode in compressed pictures, for a bus with little left; or null.
    const SourceFormat *compressed = nullptr;
};

/// The modes of one stream. Not thread-safe.
struct StreamModes : ModeTable {
    std::size_t node = 0;                  ///< which of the camera's nodes gives it
    std::vector<SourceMode> sources = {};  ///< of each record
};

/// The color, depth and ir streams of a camera; those that it lacks have no records.
using CameraModes = std::array<StreamModes, 3>;

/// Asks the nodes. Of several that could give a stream, the one that is good for the fewest others
/// gives it. Widths and heights above 65535, more than 2^26 pixels and rates
/// above 127 frames/s are left out.
CameraModes readModes(const std::vector<NodeIo *> &nodes);

}  // namespace nubrix
