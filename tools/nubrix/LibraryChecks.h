// Whether the library and its plug-ins are in place: 'nubrix doctor'.
#pragma once

#include "Finding.h"
#include "PluginReport.h"

namespace nubrix {

/// Which library the tool runs on.
Findings checkLibrary();
/// The driver plug-ins that the library has found.
Findings checkPlugins(const std::vector<PluginState> &plugins);
/// The log plug-in. Ask while a Session lives.
Findings checkLog();

}  // namespace nubrix
