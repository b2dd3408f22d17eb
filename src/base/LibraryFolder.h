// The folder of the library itself, and that of its plug-ins.
#pragma once

#include <string>

namespace nubrix {

/// The folder of this library with a "/" at its end, as the loader names it (it may be relative);
/// empty if the loader cannot tell it. Thread-safe.
std::string libraryFolder();

/// Where an installation keeps its plug-ins: in a folder of the library's own folder.
inline constexpr const char *kPlugInFolder = "nubrix/";

/// Whether the plug-in `file` is not in `folder`, but in the folder of plug-ins there; false for a
/// folder that is not known, "". Thread-safe.
bool liesInPlugInFolder(const std::string &folder, const char *file);

}  // namespace nubrix
