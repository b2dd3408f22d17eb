// What one video node says that it can do.
#pragma once

#include <linux/videodev2.h>
#include <cstdint>
#include <optional>
#include <vector>

#include "uvc/NodeIo.h"
#include "uvc/SourceFormat.h"

namespace nubrix {

struct NodeFormat {
    struct Mode {
        unsigned short width;
        unsigned short height;
        signed char frameRate;  ///< rounded
        v4l2_fract interval;    ///< 0/0 when the node has no say in it
    };

    const SourceFormat *format;
    std::vector<Mode> modes;
};

/// Frames per second, rounded; nothing when a mode record cannot hold it.
std::optional<signed char> rateOf(const v4l2_fract &interval);

/// V4L2_CAP_... of the node itself, not of its whole device; nothing when it does not say.
std::optional<std::uint32_t> readCapabilities(NodeIo &node);

/// The formats that the driver knows, in the order of the node. However much a node says, the
/// answer is short.
std::vector<NodeFormat> readFormats(NodeIo &node);

}  // namespace nubrix
