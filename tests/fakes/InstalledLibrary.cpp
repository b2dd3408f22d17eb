#include "tests/fakes/InstalledLibrary.h"
#include "tests/Paths.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

namespace nubrix {

namespace {

constexpr const char *kLibrary = "libNubrix.so.2";

}  // namespace

InstalledLibrary::InstalledLibrary()
{
    std::filesystem::copy_file(paths::kLibrary, m_folder.file(kLibrary));
}

InstalledLibrary::~InstalledLibrary()
{
    if (m_library) {
        if (NubrixBaseContext *const left = *exported<NubrixBaseContext *>("g_nubrixContext")) {
            left->destroy();
            deleteContext(left);
        }
        for (const char *name :
             {"libUvcDriverHandle", "libNetDriverHandle", "libMiniDriverHandle"}) {
            if (void *const handle = *exported<void *>(name))
                dlclose(handle);
        }
        dlclose(m_library);
    }
    for (void *handle : m_kept)
        dlclose(handle);
    for (const char *name : {kLibrary, kUvcDriver, kNetDriver, kMiniDriver, kLogDriver})
        EXPECT_EQ(isLoaded(name), m_staying.count(name) != 0) << name;
}

void InstalledLibrary::install(const std::string &plugin, const std::string &name)
{
    // A copy: two links to one file are one library to the loader.
    const std::filesystem::path built =
        std::filesystem::path(paths::kTestPlugins) / ("lib" + plugin + ".so");
    const std::filesystem::path installed = m_folder.file(name);
    std::filesystem::create_directories(installed.parent_path());
    std::filesystem::copy_file(built, installed, std::filesystem::copy_options::overwrite_existing);
}

void InstalledLibrary::remove(const std::string &name)
{
    std::filesystem::remove(m_folder.file(name));
}

FakeDriver &InstalledLibrary::installDriver(const std::string &name, const std::string &plugin)
{
    install(plugin, name);
    return driverOf(name);
}

FakeDriver &InstalledLibrary::driverOf(const std::string &name)
{
    return *reinterpret_cast<FakeDriver *(*)()>(symbol(keepLoaded(name), "nubrixTestDriver"))();
}

FakeLog &InstalledLibrary::installLog()
{
    install("RecordingLog", kLogDriver);
    return *reinterpret_cast<FakeLog *(*)()>(symbol(keepLoaded(kLogDriver), "nubrixTestLog"))();
}

bool InstalledLibrary::isLoaded(const std::string &name) const
{
    void *const handle = dlopen(m_folder.file(name).c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle)
        dlclose(handle);
    return handle != nullptr;
}

void InstalledLibrary::unloadOnceMore(const std::string &name)
{
    void *const handle = dlopen(m_folder.file(name).c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (!handle)
        throw std::runtime_error(name + " is not loaded");
    dlclose(handle);
    dlclose(handle);
}

NubrixBaseContext &InstalledLibrary::context()
{
    return *exported<NubrixBaseContext *()>("ContextFactory")();
}

void InstalledLibrary::deleteContext(NubrixBaseContext *context)
{
    exported<void(NubrixBaseContext *)>("deleteContext")(context);
}

void InstalledLibrary::deleteContext()
{
    deleteContext(&context());
}

unsigned int InstalledLibrary::errorNumber()
{
    return __atomic_load_n(exported<unsigned int *()>("ErrnoLocal")(), __ATOMIC_RELAXED);
}

void InstalledLibrary::setErrorNumber(unsigned int code)
{
    __atomic_store_n(exported<unsigned int *()>("ErrnoLocal")(), code, __ATOMIC_RELAXED);
}

void *InstalledLibrary::load()
{
    if (!m_library)
        m_library = dlopen(m_folder.file(kLibrary).c_str(), RTLD_NOW);
    if (!m_library)
        throw std::runtime_error(dlerror());
    return m_library;
}

void *InstalledLibrary::symbol(void *library, const char *name)
{
    void *const found = dlsym(library, name);
    if (!found)
        throw std::runtime_error(dlerror());
    return found;
}

void *InstalledLibrary::keepLoaded(const std::string &name)
{
    void *const handle = dlopen(m_folder.file(name).c_str(), RTLD_NOW);
    if (!handle)
        throw std::runtime_error(dlerror());
    m_kept.push_back(handle);
    return handle;
}

}  // namespace nubrix
