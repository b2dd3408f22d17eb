// The settings of the log plug-in when it is loaded.
#pragma once

#include <string>
#include <vector>

namespace nubrix::log_plugin {

constexpr int kLowestLogLevel = 0;
constexpr int kHighestLogLevel = 4;
constexpr int kDefaultLogLevel = 3;

struct LogSettings {
    bool console = true;
    bool file = false;
    int level = kDefaultLogLevel;
    std::string folder;    // of the log files, absolute
    std::string fileName;  // of the newest log file
};

/// The defaults, overridden by the section [Log] of each of the files with these paths (LogConsole,
/// LogLevel, LogFile), overridden by the environment. What is invalid is reported on stderr, with
/// the path of the file. Not thread-safe.
LogSettings readLogSettings(const std::vector<std::string> &files);

}  // namespace nubrix::log_plugin
