#include "LibraryChecks.h"

#include <dlfcn.h>

namespace nubrix {

namespace {

using State = Finding::State;

}  // namespace

Findings checkLibrary()
{
    return {{"library", State::kGood, libraryPath()}};
}

Findings checkPlugins(const std::vector<PluginState> &plugins)
{
    Findings findings;
    for (const PluginState &plugin : plugins) {
        if (plugin.loaded) {
            findings.push_back({"driver", State::kGood, plugin.detail});
        } else if (plugin.missing && plugin.name != kUsbPlugin) {
            findings.push_back({"driver", State::kNote, "not installed: " + plugin.name,
                                "install it beside the library, should you need it"});
        } else {
            findings.push_back({"driver", State::kProblem, "not loaded: " + plugin.detail,
                                plugin.missing ? "install it beside the library"
                                               : "install the one that belongs to the library"});
        }
    }
    return findings;
}

Findings checkLog()
{
    const std::string path = pluginPath("libNubrixLogDriver.so");
    void *log = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (log == nullptr)
        return {{"log", State::kNote, "not loaded, so the library says nothing: " + path,
                 "install libNubrixLogDriver.so beside the library"}};
    dlclose(log);
    return {{"log", State::kGood, path}};
}

}  // namespace nubrix
