/// @file
/// The nine functions of a log plug-in, "libNubrixLogDriver.so".
///
/// The library loads the plug-in from its own folder or from nubrix/ there. All nine functions must
/// be there, or none is used. They are called from many threads at once, and must neither throw nor
/// call the library. Results are passed back to the application unchanged; 0 means done.
#pragma once

#include "nubrix/export.h"

extern "C" {

/// Takes one message. `level` is a NubrixLogLevel; `text` carries no line end of its own (the few
/// that do are meant so) and lives for the call only. Showing messages at or above the threshold
/// is the plug-in's affair: the library sends all of them.
NUBRIX_API int nubrixLogSimplify(const char *module, int level, const char *text);
/// Takes one message as nubrixLogSimplify does, with four words of the caller; the library itself
/// never calls it.
NUBRIX_API int nubrixLogWrite(const char *module, int w1, int w2, int w3, int w4, const char *text);
/// The last system error of the plug-in (errno of a failed open or write), 0 if none.
NUBRIX_API int nubrixLogErrno();
/// Turns writing to a log file on (non-zero) or off.
NUBRIX_API int nubrixLogConfigFileWriter(int enable);
/// Turns writing to the console on (non-zero) or off.
NUBRIX_API int nubrixLogConfigConsoleWriter(int enable);
/// Sets the folder of the log files.
NUBRIX_API int nubrixLogSetFilePathEntry(const char *folder);
/// Sets the threshold, 0 to 4.
NUBRIX_API int nubrixLogSetlogLevel(int level);
/// Sets the size at which a log file is rotated, in MiB.
NUBRIX_API int nubrixLogSetMaxSize(unsigned int megabytes);
/// The threshold in force.
NUBRIX_API int nubrixLogGetGlobalLevel();

}  // extern "C"
