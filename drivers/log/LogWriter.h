// Writes log messages to the console and to a rotated file.
#pragma once

#include <spdlog/sinks/sink.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "log/LogSettings.h"

namespace nubrix::log_plugin {

/// The first message creates the log file, and every message is passed to the system at once. When
/// the file cannot be written, this is reported once on stderr and retried now and then; lost
/// messages are counted, and their number is logged to the file as soon as it can be written. Not
/// thread-safe.
class LogWriter {
public:
    explicit LogWriter(const LogSettings &settings);
    ~LogWriter();
    LogWriter(const LogWriter &) = delete;
    LogWriter &operator=(const LogWriter &) = delete;

    /// 0, or -1 when the message could not be written to the file.
    int write(const char *module, int level, const std::string &text);

    void setConsole(bool on) { m_consoleOn = on; }
    void setFile(bool on);
    /// -1 (and the old folder stays) when the folder exists and is not writable.
    int setFolder(const std::string &folder);
    /// -1 outside 1 to 2047.
    int setMaxSize(unsigned int megabytes);

    /// errno of the last file operation that failed, 0 if none has.
    int lastError() const { return m_lastError; }

private:
    using Clock = std::chrono::steady_clock;

    bool writeToFile(const spdlog::details::log_msg &message);
    bool openFile();
    void writeLossToFile();
    void fail(int error);
    void startOver();
    std::string path() const { return m_folder + "/" + m_fileName; }

    bool m_consoleOn;
    bool m_fileOn;
    std::string m_folder;
    const std::string m_fileName;
    std::size_t m_maxSizeBytes;
    std::unique_ptr<spdlog::sinks::sink> m_console;
    std::unique_ptr<spdlog::sinks::sink> m_file;  // null until the first message
    bool m_madeFile = false;
    bool m_failureReported = false;
    Clock::time_point m_retryAt;
    std::uint64_t m_lost = 0;
    int m_lastError = 0;
};

}  // namespace nubrix::log_plugin
