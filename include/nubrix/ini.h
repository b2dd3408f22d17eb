/// @file
/// Reads and writes single entries of small INI files.
///
/// An entry is a line key=value under a line [section]. There are no blanks around "=", no comments
/// and no parse tree: section and key are searched as plain text. Every call reads, and a write
/// rewrites, the whole file.
///
/// All functions return 0 on success; -1 when the file cannot be read or written, the section or
/// the key is missing, or a boolean cannot be understood; -4 for a null value. Path, section and
/// key must not be null. A write creates a missing file, section or entry.
///
/// Any thread; two writers of one file at once can lose one update.
#pragma once

#include "nubrix/export.h"

/// The folder of the administrator's settings files, "nubrixLog.ini" and "nubrixNet.ini": an entry
/// there overrides that of the file of the same name next to the library or a plug-in.
#define NUBRIX_SETTINGS_FOLDER "/etc/nubrix/"

extern "C" {

/// Copies the value without its quotes into `value`, cut to size - 1 characters and terminated.
NUBRIX_API int nubrixReadString(const char *file, const char *section, const char *key, char *value,
                                unsigned int size);
/// Reads a number to base 10. Text that is no number gives 0 and success; too large a number gives
/// the nearest int.
NUBRIX_API int nubrixReadInt(const char *file, const char *section, const char *key, int *value);
/// Reads a number, with a point whatever the locale is. Text that is no number gives 0.0 and
/// success.
NUBRIX_API int nubrixReadDouble(const char *file, const char *section, const char *key,
                                double *value);
/// Reads "true" or "1", "false" or "0", in any case; anything else is -1 and leaves `value` alone.
NUBRIX_API int nubrixReadBool(const char *file, const char *section, const char *key, bool *value);

/// Writes key="value".
NUBRIX_API int nubrixWriteString(const char *file, const char *section, const char *key,
                                 const char *value);
/// Writes key=value.
NUBRIX_API int nubrixWriteInt(const char *file, const char *section, const char *key, int value);
/// Writes key=value with six decimals.
NUBRIX_API int nubrixWriteDouble(const char *file, const char *section, const char *key,
                                 double value);
/// Writes key=true or key=false.
NUBRIX_API int nubrixWriteBool(const char *file, const char *section, const char *key, bool value);

}  // extern "C"
