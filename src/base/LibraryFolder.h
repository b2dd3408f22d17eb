// Where the library itself lies.
#pragma once

#include <string>

namespace nubrix {

/// The folder of this library with a "/" at its end, as the loader names it (it may be relative);
/// empty if the loader does not know. Thread-safe.
std::string libraryFolder();

}  // namespace nubrix
