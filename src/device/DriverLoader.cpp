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
    NubrixBaseDriver *running;  // initialized, and not destroyed
};

PlugIn g_plugIns[] = {
    {DRIVER_TYPE_UVC, "libNubrixUvcDriver.so", &libUvcDriverHandle, &delUvcDriver, nullptr},
    {DRIVER_TYPE_NET, "libNubrixNetDriver.so", &libNetDriverHandle, &delNetDriver, nullptr},
    {DRIVER_TYPE_MINI, "libNubrixMiniDriver.so", &libMiniDriverHandle, &delMiniDriver, nullptr},
};

// The address and thread sanitizers end the process on RTLD_DEEPBIND, and call dlopen on behalf of
// the library, whose RUNPATH then does not apply.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kOpenFlags = RTLD_NOW;
constexpr bool kRunPathApplies = false;
#else
constexpr int kOpenFlags = RTLD_NOW | RTLD_DEEPBIND;
constexpr bool kRunPathApplies = true;
#endif

PlugIn *plugInOf(DRIVER_TYPE type)
{
    for (PlugIn &plugIn : g_plugIns) {
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

// Opened twice on purpose: the plug-in next to the library wins over one of the same name
// elsewhere, but only if it really is one. In an installation it is no failure that there is none:
// the bare name is found, by the library's RUNPATH, in the folder of plug-ins.
std::string choosePath(const std::string &folder, const char *file)
{
    if (liesInPlugInFolder(folder, file))
        return kRunPathApplies ? file : folder + kPlugInFolder + file;
    const std::string path = folder + file;
    void *const probe = openLibrary(path);
    if (!probe)
        return file;
    const bool isPlugIn = dlsym(probe, "driverInstance") != nullptr;
    dlclose(probe);
    return isPlugIn ? path : file;
}

void ignoreDeviceState(const char *, const char *, const char *, unsigned int, void *)
{
}

NubrixBaseDriver *load(const PlugIn &plugIn)
{
    const std::string folder = libraryFolder();
    if (folder.empty()) {
        logPrint(kLogMilestone, "Get Current module path failed!\n");
        return nullptr;
    }
    const std::string path = choosePath(folder, plugIn.file);
    logPrint(kLogMilestone, "cur Driver Path = %s", path.c_str());
    void *const handle = openLibrary(path);
    if (!handle) {
        logPrint(kLogMilestone, "failed to load Driver(%s)\n", plugIn.file);
        return nullptr;
    }
    const auto instance = reinterpret_cast<InstanceFunction>(dlsym(handle, "driverInstance"));
    if (!instance) {
        dlclose(handle);
        return nullptr;
    }
    *plugIn.destroy = reinterpret_cast<DestroyFunction>(dlsym(handle, "driverDestroy"));
    *plugIn.handle = handle;
    return instance();
}

}  // namespace

NubrixBaseDriver *loadDriver(DRIVER_TYPE type)
{
    PlugIn *const plugIn = plugInOf(type);
    if (!plugIn)
        return nullptr;
    NubrixBaseDriver *const driver = load(*plugIn);
    // A driver left running because a later one failed must not report in addition to the
    // one that takes its place.
    if (plugIn->running && plugIn->running != driver)
        plugIn->running->setDeviceStateCallback(&ignoreDeviceState, nullptr);
    return driver;
}

void noteRunning(DRIVER_TYPE type, NubrixBaseDriver *driver)
{
    if (PlugIn *const plugIn = plugInOf(type))
        plugIn->running = driver;
}

void destroyDriver(DRIVER_TYPE type, NubrixBaseDriver *driver)
{
    PlugIn *const plugIn = plugInOf(type);
    if (!plugIn || !*plugIn->destroy)
        return;
    (*plugIn->destroy)(driver);
    if (plugIn->running == driver)
        plugIn->running = nullptr;
}

void closeDriverLibraries()
{
    for (const PlugIn &plugIn : g_plugIns) {
        if (*plugIn.handle && !plugIn.running)  // a running driver keeps the reference
            dlclose(*plugIn.handle);
        *plugIn.handle = nullptr;
        *plugIn.destroy = nullptr;
    }
}

}  // namespace nubrix
