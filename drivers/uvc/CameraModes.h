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

/// One pixel format that a node offers, with the modes in which it does.
struct NodeFormat {
    struct Mode {
        unsigned short width;
        unsigned short height;
        signed char frameRate;  ///< rounded
        v4l2_fract interval;    ///< 0/0 when the node cannot set it
    };

    const SourceFormat *format;
    std::vector<Mode> modes;
};

/// Frames per second, rounded; nullopt when a mode record cannot hold it.
std::optional<signed char> rateOf(const v4l2_fract &interval);

/// V4L2_CAP_... of the node itself, not of its device; nullopt when it cannot be queried.
std::optional<std::uint32_t> readCapabilities(NodeIo &node);

/// The formats that the driver knows, in the order of the node. Their number is limited, whatever
/// the node enumerates.
std::vector<NodeFormat> readFormats(NodeIo &node);

/// What a node must be set to for a mode.
struct SourceMode {
    const SourceFormat *format;
    v4l2_fract interval;  ///< seconds from frame to frame; 0/0 when the node cannot set it
    /// A compressed format for the same mode, used when the bus has too little bandwidth left; or
    /// null.
    const SourceFormat *compressed = nullptr;
};

/// The modes of one stream. Not thread-safe.
struct StreamModes : ModeTable {
    std::size_t node = 0;                  ///< index of the node that delivers the stream
    std::vector<SourceMode> sources = {};  ///< of each record
};

/// The color, depth and ir streams of a camera; a stream that it lacks has no records.
using CameraModes = std::array<StreamModes, 3>;

/// Reads the modes from the nodes. A stream that several nodes can deliver belongs to the node that
/// can deliver the fewest others. Widths and heights above 65535, more than 2^26 pixels and rates
/// above 127 frames/s are left out.
CameraModes readModes(const std::vector<NodeIo *> &nodes);

/// Queries what the node would be set to, and does not change it. Returns an errno value.
int tryMode(NodeIo &node, const typedefNubrixFrameMode &mode, const SourceMode &source,
            v4l2_pix_format &result);
/// Sets the node; `result` and `interval` return what it is set to, which may differ. A node that
/// cannot set the interval leaves it unchanged. Returns an errno value.
int setMode(NodeIo &node, const typedefNubrixFrameMode &mode, const SourceMode &source,
            v4l2_pix_format &result, v4l2_fract &interval);
/// Whether the node is set to the mode.
bool isMode(const v4l2_pix_format &result, const typedefNubrixFrameMode &mode,
            const SourceMode &source);

}  // namespace nubrix::uvc
