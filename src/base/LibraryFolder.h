// The folder of the library itself.
#pragma once

#include <string>

namespace nubrix {

/// The folder of this library with a "/" at its end, as the loader names it (it may be relative);
/// empty if the loader cannot tell it. Thread-safe.
std::string libraryFolder();

}  // namespace nubrix
