// Reads the faults of a scenario.
#pragma once

#include <vector>

#include "virtual/JsonDocument.h"
#include "virtual/Scenario.h"

namespace nubrix {

/// Reads a list of faults. Throws ScenarioError.
std::vector<Fault> readFaults(const JsonValue &list);

/// Refuses keys of an object that are not among the names. Throws ScenarioError.
void requireKnownKeys(const JsonValue &object, const std::vector<std::string> &names);

}  // namespace nubrix
