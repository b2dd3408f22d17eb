#include "device/DriverLoader.h"

#include <dlfcn.h>

#include <string>

#include "base/LibraryFolder.h"
#include "base/LogCall.h"
#include "nubrix/context.h"
#include "nubrix/driver.h"

void *libUvcDriverHandle = nullptr;
void *libNetDriverHandle = nullptr;
void *libMiniDriverHandle = nullptr;
void (*delUvcDriver)(nubrix::NubrixBaseDriver *driver) = nullptr;
void (*delNetDriver)(nubrix::NubrixBaseDriver *driver) = nullptr;
void (*delMiniDriver)(nubrix::NubrixBaseDriver *driver) = nullptr;

namespace nubrix {

namespace {

using InstanceFunction = NubrixBaseDriver *(*)();
using DestroyFunction = void (*)(NubrixBaseDriver *);

struct PlugIn {
    DRIVER_TYPE type;
    const char *file;
    void **handle;
    DestroyFunction *destroy;
};

const PlugIn kPlugIns[] = {
    {DRIVER_TYPE_UVC, "libNubrixUvcDriver.so", &libUvcDriverHandle, &delUvcDriver},
    {DRIVER_TYPE_NET, "libNubrixNetDriver.so", &libNetDriverHandle, &delNetDriver},
    {DRIVER_TYPE_MINI, "libNubrixMiniDriver.so", &libMiniDriverHandle, &delMiniDriver},
};

// The address and thread sanitizers end the process on RTLD_DEEPBIND.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kOpenFlags = RTLD_NOW;
#else
constexpr int kOpenFlags = RTLD_NOW | RTLD_DEEPBIND;
#endif

const PlugIn *plugInOf(DRIVER_TYPE type)
{
    for (const PlugIn &plugIn : kPlugIns) {
        if (plugIn.type == type)
            return &plugIn;
    }
    return nullptr;
}

void *openLibrary(const std::string &path)
{
    void *const handle = dlopen(path.c_str(), kOpenFlags);
    if (!handle) {
        const char *const cause = dlerror();
        logPrint(kLogError, "Load the dll(%s) failed ... %s!\n", path.c_str(), cause ? cause : "");
    }
    return handle;
}

// Opened twice on purpose: the plug-in beside the library wins over one of the same name elsewhere,
// but only if it really is one.
std::string choosePath(const std::string &folder, const char *file)
{
    const std::string path = folder + file;
    void *const probe = openLibrary(path);
    if (!probe)
        return file;
    const bool isPlugIn = dlsym(probe, "driverInstance") != nullptr;
    dlclose(probe);
    return isPlugIn ? path : file;
}

}  // namespace

NubrixBaseDriver *loadDriver(DRIVER_TYPE type)
{
    const PlugIn *const plugIn = plugInOf(type);
    if (!plugIn)
        return nullptr;
    const std::string folder = libraryFolder();
    if (folder.empty()) {
        logPrint(kLogMilestone, "Get Current module path failed!\n");
        return nullptr;
    }
    const std::string path = choosePath(folder, plugIn->file);
    logPrint(kLogMilestone, "cur Driver Path = %s", path.c_str());
    void *const handle = openLibrary(path);
    if (!handle) {
        logPrint(kLogMilestone, "failed to load Driver(%s)\n", plugIn->file);
        return nullptr;
    }
    const auto instance = reinterpret_cast<InstanceFunction>(dlsym(handle, "driverInstance"));
    if (!instance) {
        dlclose(handle);
        return nullptr;
    }
    *plugIn->destroy = reinterpret_cast<DestroyFunction>(dlsym(handle, "driverDestroy"));
    *plugIn->handle = handle;
    return instance();
}

void (*driverDestroyOf(DRIVER_TYPE type))(NubrixBaseDriver *)
{
    const PlugIn *const plugIn = plugInOf(type);
    return plugIn ? *plugIn->destroy : nullptr;
}

void closeDriverLibraries()
{
    for (const PlugIn &plugIn : kPlugIns) {
        if (*plugIn.handle)
            dlclose(*plugIn.handle);
        *plugIn.handle = nullptr;
        *plugIn.destroy = nullptr;
    }
}

}  // namespace nubrix
