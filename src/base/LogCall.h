// The log call of the whole library.
#pragma once

namespace nubrix {

enum LogLevel : int {
    kLogTrace = 0,
    kLogInfo = 1,
    kLogWarning = 2,
    kLogError = 3,
    kLogMilestone = 4,
};

/// Formats a message, cut at 2047 characters, and hands it to the log plug-in with its level; no
/// line end is added and no level filtered. Returns the plug-in's result, 0 without one.
/// Thread-safe.
__attribute__((format(printf, 2, 3))) int logPrint(int level, const char *format, ...);

/// The same with four words of the caller.
__attribute__((format(printf, 5, 6))) int logWrite(int w1, int w2, int w3, int w4,
                                                   const char *format, ...);

/// An empty line at level 1, which parts one piece of work from the next in the log.
inline void logEmptyLine()
{
    logPrint(kLogInfo, "%s", "");
}

/// Where log calls go. Null functions make them do nothing.
struct LogSink {
    int (*simplify)(const char *module, int level, const char *text);
    int (*write)(const char *module, int w1, int w2, int w3, int w4, const char *text);
};

/// Sets where log calls go from now on, and under which name (at most 63 characters). One caller at
/// a time; log calls may be running.
void setLogSink(const LogSink &sink, const char *module);

}  // namespace nubrix
