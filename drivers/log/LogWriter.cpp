#include "log/LogWriter.h"

#include <fcntl.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/ansicolor_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>

namespace nubrix::log_plugin {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMegabyte = 1U << 20;
constexpr std::size_t kDefaultMaxSize = 10 * kMegabyte;
constexpr std::size_t kOldFiles = 3;
constexpr unsigned int kHighestMaxSize = 2047;
constexpr auto kRetryInterval = std::chrono::seconds(1);
constexpr int kWarning = 2;

constexpr std::array<spdlog::level::level_enum, 5> kSpdlogLevels = {
    spdlog::level::trace, spdlog::level::info, spdlog::level::warn, spdlog::level::err,
    spdlog::level::critical};

// The level in our words instead of spdlog's.
class LevelWord final : public spdlog::custom_flag_formatter {
public:
    void format(const spdlog::details::log_msg &message, const std::tm &,
                spdlog::memory_buf_t &out) override
    {
        constexpr std::array<std::string_view, 5> kWords = {"trace", "info", "warning", "error",
                                                            "milestone"};
        const auto found = std::find(kSpdlogLevels.begin(), kSpdlogLevels.end(), message.level);
        const std::string_view word =
            kWords.at(static_cast<std::size_t>(found - kSpdlogLevels.begin()));
        out.append(word.data(), word.data() + word.size());
    }
    std::unique_ptr<custom_flag_formatter> clone() const override
    {
        return std::make_unique<LevelWord>();
    }
};

void setFormat(spdlog::sinks::sink &sink)
{
    auto formatter = std::make_unique<spdlog::pattern_formatter>();
    formatter->add_flag<LevelWord>('*').set_pattern("[%Y-%m-%d %H:%M:%S.%f] [%^%*%$] [%n] [%t] %v");
    sink.set_formatter(std::move(formatter));
}

spdlog::details::log_msg toMessage(const char *module, int level, std::string_view text)
{
    const int known = std::clamp(level, kLowestLogLevel, kHighestLogLevel);
    return {spdlog::string_view_t(module),
            kSpdlogLevels.at(static_cast<std::size_t>(known)),
            {text.data(), text.size()}};
}

// 0, or the errno that keeps `path` from being written. spdlog itself would retry with sleeps.
int tryToOpen(const std::string &path)
{
    std::error_code error;
    fs::create_directories(fs::path(path).parent_path(), error);
    if (error)
        return error.value();
    const int file =
        open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0644);
    if (file < 0)
        return errno;
    close(file);
    return 0;
}

}  // namespace

LogWriter::LogWriter(const LogSettings &settings)
    : m_consoleOn(settings.console),
      m_fileOn(settings.file),
      m_folder(settings.folder),
      m_fileName(settings.fileName),
      m_maxSizeBytes(kDefaultMaxSize)
{
    auto console =
        std::make_unique<spdlog::sinks::ansicolor_stderr_sink_st>(spdlog::color_mode::automatic);
    console->set_color(spdlog::level::critical, console->green);
    setFormat(*console);
    m_console = std::move(console);
}

LogWriter::~LogWriter() = default;

int LogWriter::write(const char *module, int level, const std::string &text)
{
    // A line end in the message would make an empty line.
    const std::size_t length = text.find_last_not_of("\r\n") + 1;
    if (length == 0 || (!m_consoleOn && !m_fileOn))
        return 0;
    const auto message = toMessage(module, level, std::string_view(text).substr(0, length));
    if (m_consoleOn)
        m_console->log(message);
    return !m_fileOn || writeToFile(message) ? 0 : -1;
}

void LogWriter::setFile(bool on)
{
    if (on == m_fileOn)
        return;
    m_fileOn = on;
    startOver();
}

int LogWriter::setFolder(const std::string &folder)
{
    std::error_code error;
    const fs::path absolute = fs::absolute(folder, error);
    // The slash requires a folder. A missing one is created with the first message.
    if (access((absolute.string() + "/").c_str(), W_OK | X_OK) != 0 && errno != ENOENT) {
        m_lastError = errno;
        return -1;
    }
    if (absolute.string() != m_folder) {
        m_folder = absolute.string();
        startOver();
    }
    return 0;
}

int LogWriter::setMaxSize(unsigned int megabytes)
{
    if (megabytes < 1 || megabytes > kHighestMaxSize)
        return -1;
    m_maxSizeBytes = megabytes * kMegabyte;
    startOver();
    return 0;
}

bool LogWriter::writeToFile(const spdlog::details::log_msg &message)
{
    if (m_retryAt != Clock::time_point() && Clock::now() < m_retryAt) {
        ++m_lost;
        return false;
    }
    try {
        if (!m_file && !openFile())
            return false;
        errno = 0;
        if (m_lost > 0)
            writeLossToFile();
        m_file->log(message);
        m_file->flush();
    } catch (const spdlog::spdlog_ex &) {
        fail(errno != 0 ? errno : EIO);
        return false;
    }
    m_lost = 0;
    m_retryAt = {};
    return true;
}

bool LogWriter::openFile()
{
    std::error_code ignored;
    m_madeFile = !fs::exists(path(), ignored);
    if (const int error = tryToOpen(path())) {
        fail(error);
        return false;
    }
    m_file =
        std::make_unique<spdlog::sinks::rotating_file_sink_st>(path(), m_maxSizeBytes, kOldFiles);
    setFormat(*m_file);
    return true;
}

void LogWriter::writeLossToFile()
{
    const std::string text = std::to_string(m_lost) + " messages could not be written";
    m_file->log(toMessage("NubrixLog", kWarning, text));
}

void LogWriter::fail(int error)
{
    m_lastError = error;
    ++m_lost;
    m_retryAt = Clock::now() + kRetryInterval;
    m_file.reset();
    std::error_code ignored;
    if (m_madeFile && fs::is_regular_file(path(), ignored) && fs::is_empty(path(), ignored))
        fs::remove(path(), ignored);
    if (!m_failureReported) {
        std::fprintf(stderr, "nubrix log: cannot write %s: %s\n", path().c_str(),
                     std::strerror(error));
        m_failureReported = true;
    }
}

void LogWriter::startOver()
{
    m_file.reset();
    m_failureReported = false;
    m_retryAt = {};
}

}  // namespace nubrix::log_plugin
