// The binding to the log plug-in, "libNubrixLogDriver.so".
#pragma once

namespace nubrix {

/// Loads the plug-in from the library's folder, or its folder of plug-ins, and names this library
/// `moduleName` in its log. Returns 0, also when it is loaded already; -1 when it, or one of its
/// nine functions, is missing: every log call then does nothing. The binding is one for the
/// process. Not thread-safe.
int loadLogDriver(const char *moduleName);
/// Unloads the plug-in, for every context. Returns 0. Not thread-safe.
int unloadLogDriver();

/// Each returns the result of the plug-in, 0 without one. Thread-safe.
int logConfigFileWriter(int enable);
int logConfigConsoleWriter(int enable);
int logSetFilePath(const char *folder);
int logSetLevel(int level);

}  // namespace nubrix
