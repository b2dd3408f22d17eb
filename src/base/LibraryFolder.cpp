#include "base/LibraryFolder.h"

#include <dlfcn.h>
#include <libgen.h>
#include <unistd.h>

namespace nubrix {

std::string libraryFolder()
{
    Dl_info info = {};
    if (dladdr(reinterpret_cast<void *>(&libraryFolder), &info) == 0 || !info.dli_fname)
        return {};
    std::string path = info.dli_fname;
    return std::string(dirname(path.data())) + "/";
}

bool liesInPlugInFolder(const std::string &folder, const char *file)
{
    return !folder.empty() && access((folder + file).c_str(), F_OK) != 0 &&
           access((folder + kPlugInFolder + file).c_str(), F_OK) == 0;
}

}  // namespace nubrix
