#include "log/LogSettings.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>

#include "common/SettingsFiles.h"
#include "common/Text.h"

namespace nubrix::log_plugin {

namespace {

namespace fs = std::filesystem;

// An entry that does not count as it is written.
void reportEntry(const std::string &file, const std::string &entry, const std::string &fault)
{
    std::fprintf(stderr, "nubrix log: %s: %s is %s.\n", file.c_str(), cleanText(entry).c_str(),
                 fault.c_str());
}

// Like the library's reader of the same file: keys are found as plain text, blanks are not trimmed,
// and a missing number is 0.
std::optional<int> iniNumber(const std::string &file, const std::string &section,
                             const std::string &key)
{
    std::size_t at = section.find(key);
    if (at == std::string::npos)
        return std::nullopt;
    at += key.size();
    if (at < section.size() && section[at] == '"')
        ++at;
    const std::string value = section.substr(at, section.find('\n', at) - at);
    char *end = nullptr;
    const auto number = static_cast<int>(std::strtol(value.c_str(), &end, 10));
    if (end == value.c_str())
        reportEntry(file, key + value, "no number: it counts as 0");
    return number;
}

// The section [Log]: LogConsole, LogLevel, LogFile.
void applyIniText(const std::string &file, const std::string &text, LogSettings &settings)
{
    const std::string tag = "[Log]";
    const std::size_t start = text.find(tag);
    if (start == std::string::npos)
        return;
    const std::string rest = text.substr(start + tag.size());
    const std::string section = rest.substr(0, rest.find("\n["));

    if (const auto console = iniNumber(file, section, "LogConsole="))
        settings.console = *console >= 1;
    if (const auto level = iniNumber(file, section, "LogLevel=")) {
        const bool valid = *level >= kLowestLogLevel && *level <= kHighestLogLevel;
        settings.level = valid ? *level : kDefaultLogLevel;
        if (!valid)
            reportEntry(file, "LogLevel=" + std::to_string(*level), "not 0 to 4: 3 is used");
    }
    if (const auto logFile = iniNumber(file, section, "LogFile="))
        settings.file = *logFile >= 1;
}

void applyIniFile(const std::string &path, LogSettings &settings)
{
    const std::string fault = settingsFault(path);
    if (fault.empty())
        applyIniText(path, readTextFile(path).text, settings);
    else
        std::fprintf(stderr, "nubrix log: %s %s. Ignored.\n", path.c_str(), fault.c_str());
}

void refuse(const char *name, const char *value, const char *allowed)
{
    std::fprintf(stderr, "nubrix log: %s is \"%s\"; it must be %s. Ignored.\n", name, value,
                 allowed);
}

// The digit in an environment variable, if it is one of 0 to `highest`.
std::optional<int> digitFromEnvironment(const char *name, int highest, const char *allowed)
{
    const char *value = std::getenv(name);
    if (!value || !*value)
        return std::nullopt;
    if (value[1] == '\0' && value[0] >= '0' && value[0] <= '0' + highest)
        return value[0] - '0';
    refuse(name, value, allowed);
    return std::nullopt;
}

void applyFilePath(const std::string &value, LogSettings &settings)
{
    std::error_code error;
    const fs::path path = fs::absolute(value, error);
    if (error) {
        refuse("NUBRIX_LOG_FILE", value.c_str(), "0, 1, a folder or a file");
        return;
    }
    settings.file = true;
    if (!path.has_filename() || fs::is_directory(path, error)) {
        settings.folder = path.string();
    } else {
        settings.folder = path.parent_path().string();
        settings.fileName = path.filename().string();
    }
}

void applyEnvironment(LogSettings &settings)
{
    if (const auto level = digitFromEnvironment("NUBRIX_LOG_LEVEL", kHighestLogLevel, "0 to 4"))
        settings.level = *level;
    if (const auto console = digitFromEnvironment("NUBRIX_LOG_CONSOLE", 1, "0 or 1"))
        settings.console = *console == 1;
    const char *file = std::getenv("NUBRIX_LOG_FILE");
    if (!file || !*file)
        return;
    if (std::strcmp(file, "0") == 0 || std::strcmp(file, "1") == 0)
        settings.file = *file == '1';
    else
        applyFilePath(file, settings);
}

}  // namespace

LogSettings readLogSettings(const std::vector<std::string> &files)
{
    LogSettings settings;
    std::error_code ignored;
    settings.folder = fs::current_path(ignored).string();
    settings.fileName = std::string("nubrix-") + program_invocation_short_name + ".log";
    for (const std::string &file : files)
        applyIniFile(file, settings);
    applyEnvironment(settings);
    return settings;
}

}  // namespace nubrix::log_plugin
