// A copy of the library in a folder of its own, with the plug-ins that a test puts next to it.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "nubrix/context.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/FakeDriver.h"
#include "tests/fakes/FakeLog.h"

namespace nubrix {

inline constexpr const char *kUvcDriver = "libNubrixUvcDriver.so";
inline constexpr const char *kNetDriver = "libNubrixNetDriver.so";
inline constexpr const char *kMiniDriver = "libNubrixMiniDriver.so";
inline constexpr const char *kLogDriver = "libNubrixLogDriver.so";

/// Loads the library the way an application does and reaches it through what it exports. Each
/// object stands for a fresh process: at its end the context is destroyed and deleted, everything
/// is unloaded and removed. Only the thread that made it may install and load.
class InstalledLibrary {
public:
    InstalledLibrary();
    ~InstalledLibrary();
    InstalledLibrary(const InstalledLibrary &) = delete;
    InstalledLibrary &operator=(const InstalledLibrary &) = delete;

    /// With a "/" at its end, as the library sees it.
    std::string folder() const { return m_folder.path().string() + "/"; }
    /// Copies a plug-in of tests/plugins, "GoodDriver", under a name that the library looks for,
    /// which may be below a folder.
    void install(const std::string &plugin, const std::string &name);
    void remove(const std::string &name);
    /// Installs a plug-in, loads it and keeps it loaded until the end, so that its driver or log
    /// can be scripted beforehand and asked afterwards.
    FakeDriver &installDriver(const std::string &name, const std::string &plugin = "GoodDriver");
    /// The same for a driver plug-in that is there, and loaded, already.
    FakeDriver &driverOf(const std::string &name);
    FakeLog &installLog();
    /// Whether a file of the folder is loaded at this moment.
    bool isLoaded(const std::string &name) const;
    /// Takes back a reference that the library holds for ever, as after an initialize that failed.
    void unloadOnceMore(const std::string &name);
    /// Expects the code of a plug-in to stay in memory, because its driver was left running.
    void expectToStayLoaded(const std::string &name) { m_staying.insert(name); }

    /// The context of ContextFactory; loads the library on first use.
    NubrixBaseContext &context();
    void deleteContext(NubrixBaseContext *context);
    /// Forgets the context that context() gave and makes another.
    void deleteContext();
    unsigned int errorNumber();
    void setErrorNumber(unsigned int code);

    /// An exported function or variable.
    template <class Type>
    Type *exported(const char *name)
    {
        return reinterpret_cast<Type *>(symbol(load(), name));
    }
    void *load();

private:
    static void *symbol(void *library, const char *name);
    void *keepLoaded(const std::string &name);

    TemporaryFolder m_folder;
    std::vector<void *> m_kept;
    std::set<std::string> m_staying;
    void *m_library = nullptr;
};

}  // namespace nubrix
