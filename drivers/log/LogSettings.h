// The settings of the log plug-in when it is loaded.
#pragma once

#include <optional>
#include <string>

namespace nubrix::log_plugin {

constexpr int kLowestLogLevel = 0;
constexpr int kHighestLogLevel = 4;

struct LogSettings {
    bool console = true;
    bool file = false;
    int level = 3;
    std::string folder;    // of the log files, absolute
    std::string fileName;  // of the newest log file
};

/// The defaults, overridden by `nubrixLog.ini` next to the plug-in, overridden by the environment.
/// An invalid value is reported on stderr and ignored. Not thread-safe.
LogSettings readLogSettings();

/// Applies the section [Log] of an INI file's text to `settings`: LogConsole, LogLevel, LogFile.
void applyIniText(const std::string &text, LogSettings &settings);

}  // namespace nubrix::log_plugin
