// Which driver plug-ins the library has loaded, and why not the others.
#pragma once

#include <string>
#include <vector>

namespace nubrix {

struct PluginState {
    std::string name;  // "libNubrixUvcDriver.so"
    bool loaded;
    std::string detail;  // the path if it is loaded, otherwise why not
};

/// The plug-ins that the library looks for. Ask while a Session lives.
std::vector<PluginState> pluginStates();

}  // namespace nubrix
