// Prepares the folder of a record file.
#pragma once

namespace nubrix {

constexpr unsigned int kMaxRecordPath = 255;  // characters

/// Makes every missing level of the folder of `path` (backslashes count as slashes) and writes the
/// absolute path of the file, at most `capacity` characters and a terminator, to `out`. Returns 0
/// or -1; 0 with `out` left empty when a level could not be made. Failures are logged.
int createRecordFolder(const char *path, char *out, unsigned int capacity);

}  // namespace nubrix
