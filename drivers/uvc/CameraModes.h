// The modes of a camera: reads them from its nodes and sets a node to one.
#pragma once

#include <linux/videodev2.h>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "common/ModeTable.h"
#include "nubrix/types.h"
#include "uvc/FrameConverter.h"
#include "uvc/NodeIo.h"

namespace nubrix::uvc {

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

/// Asks what the node would be set to, and leaves it alone. An errno value.
int tryMode(NodeIo &node, const typedefNubrixFrameMode &mode, const SourceMode &source,
            v4l2_pix_format &result);
/// Sets the node; `result` and `interval` are what it is set to then, which may be something else;
/// the interval is left alone by a node that has no say in it. An errno value.
int setMode(NodeIo &node, const typedefNubrixFrameMode &mode, const SourceMode &source,
            v4l2_pix_format &result, v4l2_fract &interval);
/// The node does what was asked of it.
bool isMode(const v4l2_pix_format &result, const typedefNubrixFrameMode &mode,
            const SourceMode &source);

}  // namespace nubrix::uvc
