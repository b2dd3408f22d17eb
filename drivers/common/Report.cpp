#include "common/Report.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "common/Text.h"
#include "nubrix/log_driver.h"

namespace nubrix {

namespace {

struct LibraryCloser {
    void operator()(void *library) const { dlclose(library); }
};

/// The log plug-in lies beside the driver; the library loads it, or does without.
bool writeToLog(const char *module, const std::string &line)
{
    Dl_info self = {};
    if (dladdr(reinterpret_cast<void *>(&writeToLog), &self) == 0 || self.dli_fname == nullptr)
        return false;
    const std::string own = self.dli_fname;
    const std::string path = own.substr(0, own.rfind('/') + 1) + "libNubrixLogDriver.so";
    const std::unique_ptr<void, LibraryCloser> library(
        dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD));
    if (!library)
        return false;
    const auto write =
        reinterpret_cast<decltype(&nubrixLogSimplify)>(dlsym(library.get(), "nubrixLogSimplify"));
    if (write == nullptr)
        return false;
    write(module, 3, line.c_str());
    return true;
}

}  // namespace

void reportAs(const char *module, const char *subject, const std::string &text)
{
    const std::string line = cleanText(text);
    if (!writeToLog(module, line) || std::getenv("NUBRIX_DRIVER_STDERR") != nullptr)
        std::fprintf(stderr, "%s: %s\n", subject, line.c_str());
}

}  // namespace nubrix
