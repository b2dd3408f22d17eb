#include "doctor/LibraryChecks.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>
#include <filesystem>
#include "nubrix/ini.h"
#include "nubrix/nubrix.h"

namespace nubrix::tool {

namespace {

using State = Finding::State;

constexpr const char *kLogPlugin = "libNubrixLogDriver.so";

std::string pathOf(void *handle)
{
    struct link_map *map = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr)
        return "unknown path";
    return tidyPath(map->l_name);
}

/// Loads the plug-in again, as the library did, to get the reason of the failure.
std::string whyNotLoaded(const std::string &path)
{
    void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char *error = dlerror();
        return error ? error : path;
    }
    const bool entry = dlsym(library, "driverInstance") != nullptr;
    dlclose(library);
    if (!entry)
        return path + ": it has no function \"driverInstance\"";
    return path + ": the library rejected it; '--verbose' shows the log";
}

/// How to install a plug-in that is missing.
std::string adviceFor(const std::string &plugin)
{
    const std::string package = plugin == kNetPlugin ? "nubrix-driver-net" : "nubrix-drivers";
    return "install the package " + package + ", or put it next to the library";
}

}  // namespace

std::string tidyPath(const std::string &path)
{
    // "link/.." need not be the folder in which the link is.
    const std::filesystem::path given = path;
    const std::filesystem::path tidy = given.lexically_normal();
    std::error_code ignored;
    return std::filesystem::equivalent(given.parent_path(), tidy.parent_path(), ignored) ? tidy
                                                                                         : given;
}

std::string libraryPath()
{
    Dl_info info = {};
    if (dladdr(dlsym(RTLD_DEFAULT, "ContextFactory"), &info) == 0 || info.dli_fname == nullptr)
        return {};
    return tidyPath(info.dli_fname);
}

std::string pluginPath(const std::string &name)
{
    const std::string library = libraryPath();
    const std::string folder = library.substr(0, library.rfind('/') + 1);
    const std::string installed = folder + "nubrix/" + name;
    const bool nextToLibrary = access((folder + name).c_str(), F_OK) == 0;
    return !nextToLibrary && access(installed.c_str(), F_OK) == 0 ? installed : folder + name;
}

std::vector<std::string> netSettingsPaths()
{
    const std::string plugin =
        libNetDriverHandle != nullptr ? pathOf(libNetDriverHandle) : pluginPath(kNetPlugin);
    return {plugin.substr(0, plugin.rfind('/') + 1) + "nubrixNet.ini",
            NUBRIX_SETTINGS_FOLDER "nubrixNet.ini"};
}

std::vector<PluginState> pluginStates()
{
    std::vector<PluginState> states;
    const auto add = [&](const char *name, void *handle) {
        const std::string path = pluginPath(name);
        if (handle != nullptr)
            states.push_back({name, true, false, pathOf(handle)});
        else if (access(path.c_str(), F_OK) != 0)
            states.push_back({name, false, true, path + ": no such file"});
        else
            states.push_back({name, false, false, whyNotLoaded(path)});
    };
    add(kUsbPlugin, libUvcDriverHandle);
    add(kNetPlugin, libNetDriverHandle);
    return states;
}

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
                                "if you need it, " + adviceFor(plugin.name)});
        } else {
            findings.push_back({"driver", State::kProblem, "not loaded: " + plugin.detail,
                                plugin.missing
                                    ? adviceFor(plugin.name)
                                    : "install the version that belongs to the library"});
        }
    }
    return findings;
}

Findings checkLog()
{
    const std::string path = pluginPath(kLogPlugin);
    void *log = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (log == nullptr)
        return {{"log", State::kNote, "not loaded, so the library logs nothing: " + path,
                 adviceFor(kLogPlugin)}};
    dlclose(log);
    return {{"log", State::kGood, path}};
}

}  // namespace nubrix::tool
