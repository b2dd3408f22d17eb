// Reads a scenario from a file.
#pragma once

#include <string>
#include <variant>

#include "virtual/Scenario.h"

namespace nubrix {

/// At most 1 MiB. Relative paths in it start from its own folder. Thread-safe.
std::variant<Scenario, ScenarioError> readScenarioFile(const std::string &path);

}  // namespace nubrix
