// The checks of the library and its plug-ins, and the state of each driver plug-in.
#pragma once

#include <string>
#include <vector>
#include "doctor/Checks.h"

namespace nubrix::tool {

constexpr const char *kUsbPlugin = "libNubrixUvcDriver.so";
constexpr const char *kNetPlugin = "libNubrixNetDriver.so";

struct PluginState {
    std::string name;  // "libNubrixUvcDriver.so"
    bool loaded;
    bool missing;        // the file does not exist
    std::string detail;  // the path if it is loaded, otherwise the reason
};

/// A path as it is shown: without "bin/.." where it leads to the same folder without that.
std::string tidyPath(const std::string &path);
/// The path of libNubrix.so.
std::string libraryPath();
/// The path at which the library finds a plug-in: next to it, or in its folder of plug-ins. The
/// former if there is none.
std::string pluginPath(const std::string &name);

/// The paths of nubrixNet.ini, in the order in which the network driver reads them.
std::vector<std::string> netSettingsPaths();

/// The driver plug-ins that the library supports. Needs a Session.
std::vector<PluginState> pluginStates();

/// The path of the library that the tool uses.
Findings checkLibrary();
/// Whether each driver plug-in is loaded.
Findings checkPlugins(const std::vector<PluginState> &plugins);
/// Whether the log plug-in is loaded. Needs a Session.
Findings checkLog();

}  // namespace nubrix::tool
