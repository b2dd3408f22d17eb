#include "PluginReport.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include "nubrix/nubrix.h"

namespace nubrix {

namespace {

/// The folder of libNubrix.so with a "/" at its end, where it looks for plug-ins.
std::string libraryFolder()
{
    Dl_info info = {};
    if (dladdr(dlsym(RTLD_DEFAULT, "ContextFactory"), &info) == 0 || info.dli_fname == nullptr)
        return {};
    const std::string path = info.dli_fname;
    return path.substr(0, path.rfind('/') + 1);
}

std::string pathOf(void *handle)
{
    struct link_map *map = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr)
        return "an unknown place";
    return map->l_name;
}

/// Tries what the library tried, to learn what stood in its way.
std::string whyNotLoaded(const std::string &path)
{
    if (access(path.c_str(), F_OK) != 0)
        return path + ": no such file";
    void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char *error = dlerror();
        return error ? error : path;
    }
    const bool entry = dlsym(library, "driverInstance") != nullptr;
    dlclose(library);
    if (!entry)
        return path + ": it has no function \"driverInstance\"";
    return path + ": the library did not take it; '--verbose' shows the log";
}

}  // namespace

std::vector<PluginState> pluginStates()
{
    const std::string folder = libraryFolder();
    std::vector<PluginState> states;
    const auto add = [&](const char *name, void *handle) {
        const bool loaded = handle != nullptr;
        states.push_back({name, loaded, loaded ? pathOf(handle) : whyNotLoaded(folder + name)});
    };
    add("libNubrixUvcDriver.so", libUvcDriverHandle);
    add("libNubrixNetDriver.so", libNetDriverHandle);
    return states;
}

}  // namespace nubrix
