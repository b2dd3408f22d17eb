// What the log plug-in is told when it is loaded.
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

/// The defaults, changed by `nubrixLog.ini` beside the plug-in, changed by the environment. What
/// cannot be understood is told on stderr and left as it was. Not thread-safe.
LogSettings readLogSettings();

/// Changes `settings` by the section [Log] of an INI file's text: LogConsole, LogLevel, LogFile.
void applyIniText(const std::string &text, LogSettings &settings);

}  // namespace nubrix::log_plugin
