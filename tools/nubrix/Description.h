// The command line as data, from which scripts/manual.py writes the manual pages and the
// completion.
#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace nubrix::tool {

/// Adds the option --describe, which no help shows.
void addDescribeFlag(CLI::App &app, bool &wanted);

/// The name, description, options, footer and commands of a command line, as its help shows them.
nlohmann::ordered_json describe(const CLI::App &app);

}  // namespace nubrix::tool
