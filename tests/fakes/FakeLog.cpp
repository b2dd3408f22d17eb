#include "tests/fakes/FakeLog.h"

#include <algorithm>
#include <utility>

namespace nubrix {

namespace {

std::string shown(const RecordedLine &line)
{
    return std::to_string(line.level) + " " + line.text;
}

}  // namespace

void FakeLog::add(const char *module, int level, const char *text)
{
    const RecordedLine line = {module, level, text, std::this_thread::get_id()};
    std::function<void(const RecordedLine &)> hook;
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

void FakeLog::setHook(std::function<void(const RecordedLine &)> hook)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_hook = std::move(hook);
}

std::vector<RecordedLine> FakeLog::lines() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_lines;
}

std::vector<std::string> FakeLog::linesOf(std::thread::id thread) const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    std::vector<std::string> found;
    for (const RecordedLine &line : m_lines) {
        if (line.thread == thread)
            found.push_back(shown(line));
    }
    return found;
}

std::size_t FakeLog::count(const std::string &line) const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return static_cast<std::size_t>(
        std::count_if(m_lines.begin(), m_lines.end(),
                      [&](const RecordedLine &each) { return shown(each) == line; }));
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
