// The names that the tool prints for the codes of the interface.
#pragma once

#include <array>
#include <optional>
#include <string>
#include "nubrix/client/frame.h"

namespace nubrix::tool {

/// Every type of stream, in the order in which the tool shows them.
constexpr std::array<client::StreamType, 4> kStreamTypes = {
    client::StreamType::kColor, client::StreamType::kDepth, client::StreamType::kInfrared,
    client::StreamType::kLightInfrared};

/// The stream type of this name, none if there is none.
std::optional<client::StreamType> streamType(const std::string &name);

/// The name of a type in a record file; "type 7" for one that has none.
std::string streamName(unsigned int type);

std::string pixelFormatName(unsigned int pixelFormat);
std::string transportName(int transport);
std::string deviceStateName(unsigned int state);
/// "2.0.182".
std::string versionText(const unsigned short (&version)[3]);

}  // namespace nubrix::tool
