// Sets a node to a mode.
#pragma once

#include <linux/videodev2.h>

#include "nubrix/types.h"
#include "uvc/CameraModes.h"
#include "uvc/NodeIo.h"

namespace nubrix {

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

}  // namespace nubrix
