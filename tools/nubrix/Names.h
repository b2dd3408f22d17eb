// The names that the tool prints for the codes of the interface.
#pragma once

#include <array>
#include <string>
#include "nubrix/types.h"

namespace nubrix::tool {

struct StreamKind {
    unsigned int type;  // a NubrixStreamType
    const char *name;
};

/// Every kind of stream, in the order in which the tool shows them.
constexpr std::array<StreamKind, 4> kStreamKinds = {{{NUBRIX_STREAM_COLOR, "color"},
                                                     {NUBRIX_STREAM_DEPTH, "depth"},
                                                     {NUBRIX_STREAM_IR, "ir"},
                                                     {NUBRIX_STREAM_LIGHT_IR, "light-ir"}}};

/// The kind of this name, null if there is none.
const StreamKind *streamKind(const std::string &name);

/// The name of a stream type; "type 7" for one that has none.
std::string streamName(unsigned int streamType);

std::string pixelFormatName(unsigned int pixelFormat);
std::string transportName(int transport);
std::string deviceStateName(unsigned int state);
/// "2.0.182".
std::string versionText(const unsigned short (&version)[3]);

}  // namespace nubrix::tool
