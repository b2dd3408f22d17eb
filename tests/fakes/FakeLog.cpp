#include "tests/fakes/FakeLog.h"

#include <algorithm>
#include <utility>

namespace nubrix {

namespace {

std::string shown(const LogLine &line)
{
    return std::to_string(line.level) + " " + line.text;
}

}  // namespace

void FakeLog::add(const char *module, int level, const char *text)
{
    const LogLine line = {module, level, text, std::this_thread::get_id()};
    std::function<void(const LogLine &)> hook;
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_lines.push_back(line);
        hook = m_hook;
    }
    if (hook)
        hook(line);
}

void FakeLog::addSetting(const std::string &setting)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_settings.push_back(setting);
}

void FakeLog::setHook(std::function<void(const LogLine &)> hook)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_hook = std::move(hook);
}

std::vector<LogLine> FakeLog::lines() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_lines;
}

std::vector<std::string> FakeLog::linesOf(std::thread::id thread) const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    std::vector<std::string> found;
    for (const LogLine &line : m_lines) {
        if (line.thread == thread)
            found.push_back(shown(line));
    }
    return found;
}

std::size_t FakeLog::count(const std::string &line) const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return static_cast<std::size_t>(std::count_if(
        m_lines.begin(), m_lines.end(), [&](const LogLine &each) { return shown(each) == line; }));
}

std::vector<std::string> FakeLog::settings() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_settings;
}

void FakeLog::clear()
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_lines.clear();
    m_settings.clear();
}

}  // namespace nubrix
