// Which driver plug-ins the library has loaded, and why not the others.
#pragma once

#include <string>
#include <vector>
#include "doctor/Checks.h"

namespace nubrix::tool {

constexpr const char *kUsbPlugin = "libNubrixUvcDriver.so";

struct PluginState {
    std::string name;  // "libNubrixUvcDriver.so"
    bool loaded;
    bool missing;        // there is no such file
    std::string detail;  // the path if it is loaded, otherwise why not
};

/// Where libNubrix.so is.
std::string libraryPath();
/// Where the library looks for a plug-in.
std::string pluginPath(const std::string &name);

/// The plug-ins that the library looks for. Ask while a Session lives.
std::vector<PluginState> pluginStates();

/// Which library the tool runs on.
Findings checkLibrary();
/// The driver plug-ins that the library has found.
Findings checkPlugins(const std::vector<PluginState> &plugins);
/// The log plug-in. Ask while a Session lives.
Findings checkLog();

}  // namespace nubrix::tool
