#include "base/LibraryFolder.h"

#include <dlfcn.h>
#include <libgen.h>

namespace nubrix {

std::string libraryFolder()
{
    Dl_info info = {};
    if (dladdr(reinterpret_cast<void *>(&libraryFolder), &info) == 0 || !info.dli_fname)
        return {};
    std::string path = info.dli_fname;
    return std::string(dirname(path.data())) + "/";
}

}  // namespace nubrix
