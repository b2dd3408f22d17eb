#include "common/Report.h"

#include <dlfcn.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>

#include "common/Text.h"
#include "nubrix/log_driver.h"
#include "nubrix/types.h"

namespace nubrix {

namespace {

struct LibraryCloser {
    void operator()(void *library) const { dlclose(library); }
};

/// The file that this code is in: the driver's plug-in.
const char *ownFile() noexcept
{
    Dl_info self = {};
    const bool known = dladdr(reinterpret_cast<void *>(&ownFile), &self) != 0;
    return known && self.dli_fname != nullptr ? self.dli_fname : "";
}

const char *nameIn(const char *file) noexcept
{
    const char *slash = std::strrchr(file, '/');
    return slash == nullptr ? file : slash + 1;
}

using Library = std::unique_ptr<void, LibraryCloser>;

/// The log plug-in if the library has loaded it. Each of the two lies next to the library or in its
/// folder "nubrix/".
Library logPlugIn() noexcept
{
    const char *file = ownFile();
    for (const char *place : {"", "../", "nubrix/"}) {
        char path[PATH_MAX] = {};
        const int size = std::snprintf(path, sizeof path, "%.*s%slibNubrixLogDriver.so",
                                       static_cast<int>(nameIn(file) - file), file, place);
        if (size < 0 || static_cast<std::size_t>(size) >= sizeof path)
            return {};
        if (Library library{dlopen(path, RTLD_LAZY | RTLD_NOLOAD)})
            return library;
    }
    return {};
}

bool writeToLog(const char *module, NubrixLogLevel level, const char *line) noexcept
try {
    const Library library = logPlugIn();
    if (!library)
        return false;
    const auto write =
        reinterpret_cast<decltype(&nubrixLogSimplify)>(dlsym(library.get(), "nubrixLogSimplify"));
    if (write == nullptr)
        return false;
    write(module, level, line);
    return true;
} catch (...) {  // the log throws when it has no memory
    return false;
}

void writeLine(const Reporter &reporter, NubrixLogLevel level, const char *line) noexcept
{
    if (!writeToLog(reporter.module, level, line) || std::getenv("NUBRIX_DRIVER_STDERR") != nullptr)
        std::fprintf(stderr, "%s: %s\n", reporter.subject, line);
}

void writeFailure(const char *operation, const char *reason) noexcept
{
    char line[512] = {};
    std::snprintf(line, sizeof line, "%s failed: %s", operation, reason);
    line[cleanInPlace(line, std::strlen(line))] = '\0';
    const char *file = nameIn(ownFile());
    if (std::strncmp(file, "lib", 3) == 0)
        file += 3;
    char module[64] = {};
    std::snprintf(module, sizeof module, "%.*s", static_cast<int>(std::strcspn(file, ".")), file);
    writeLine({module, module}, NUBRIX_LOG_ERROR, line);
}

}  // namespace

void Reporter::warning(const std::string &text) const
{
    writeLine(*this, NUBRIX_LOG_WARNING, cleanText(text).c_str());
}

void Reporter::error(const std::string &text) const
{
    writeLine(*this, NUBRIX_LOG_ERROR, cleanText(text).c_str());
}

void Reporter::milestone(const std::string &text) const
{
    writeLine(*this, NUBRIX_LOG_MILESTONE, cleanText(text).c_str());
}

void reportFailure(const char *operation) noexcept
{
    try {
        throw;
    } catch (const std::exception &error) {
        writeFailure(operation, error.what());
    } catch (...) {
        writeFailure(operation, "unknown exception");
    }
}

}  // namespace nubrix
