// The commands that a test sends to a running software camera.
#pragma once

#include <string>

namespace nubrix::vm {

/// Where the camera of this name listens.
std::string commandSocket(const std::string &name);

/// Gives the camera a command and returns its answer, which starts with "ok" when it was obeyed.
/// Throws std::runtime_error when there is no such camera.
std::string sendCommand(const std::string &name, const std::string &command);

}  // namespace nubrix::vm
