// A log that remembers what it was sent, and the settings it was given.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace nubrix {

struct RecordedLine {
    std::string module;
    int level;
    std::string text;
    std::thread::id thread;
};

/// What the recording log plug-in writes to. Thread-safe.
class FakeLog {
public:
    std::atomic<int> result{0};  // of every function of the plug-in

    void add(const char *module, int level, const char *text);
    void addSetting(const std::string &setting);
    /// Called, with each line, on the thread that logs it.
    void setHook(std::function<void(const RecordedLine &)> hook);

    std::vector<RecordedLine> lines() const;
    /// "LEVEL TEXT" of the lines of one thread, in order.
    std::vector<std::string> linesOf(std::thread::id thread) const;
    /// How many lines of any thread are "LEVEL TEXT".
    std::size_t count(const std::string &line) const;
    /// The calls that set something, in order: "file 1", "console 0", "folder /tmp", "level 3".
    std::vector<std::string> settings() const;
    void clear();

private:
    mutable std::mutex m_mutex;  // guards everything below; never held while calling out
    std::vector<RecordedLine> m_lines;
    std::vector<std::string> m_settings;
    std::function<void(const RecordedLine &)> m_hook;
};

}  // namespace nubrix
