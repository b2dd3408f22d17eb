// Records what the library logs, with level and in order.
#pragma once

#include <gmock/gmock.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "base/LogCall.h"
#include "tests/fakes/Waiting.h"

namespace nubrix {

struct LogLine {
    int level;
    std::string text;

    bool operator==(const LogLine &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const LogLine &line)
    {
        return out << line.level << " \"" << line.text << '"';
    }
};

inline LogLine infoLine(std::string text)
{
    return {kLogInfo, std::move(text)};
}
inline LogLine warningLine(std::string text)
{
    return {kLogWarning, std::move(text)};
}
inline LogLine errorLine(std::string text)
{
    return {kLogError, std::move(text)};
}
inline LogLine milestoneLine(std::string text)
{
    return {kLogMilestone, std::move(text)};
}

/// Takes all log calls of the process while it lives. One at a time. Thread-safe.
class LogRecorder {
public:
    using Hook = std::function<void(const LogLine &)>;

    /// `hook` is called on the logging thread with every line once it is recorded; it may block.
    explicit LogRecorder(Hook hook = {})
    {
        {
            const std::lock_guard<std::mutex> guard(state().mutex);
            state().lines.clear();
            state().module.clear();
            state().hook = std::move(hook);
        }
        setLogSink({&LogRecorder::simplify, nullptr}, "recorded");
    }
    ~LogRecorder()
    {
        setLogSink({}, nullptr);
        const std::lock_guard<std::mutex> guard(state().mutex);
        state().hook = {};
    }
    LogRecorder(const LogRecorder &) = delete;
    LogRecorder &operator=(const LogRecorder &) = delete;

    /// What was logged since the last take.
    std::vector<LogLine> take()
    {
        const std::lock_guard<std::mutex> guard(state().mutex);
        return std::exchange(state().lines, {});
    }
    /// Waits until such a line has been logged since the last take. False when it was not in time.
    bool waitFor(const testing::Matcher<const LogLine &> &line)
    {
        std::unique_lock<std::mutex> guard(state().mutex);
        return state().logged.wait_for(guard, kTestDeadline, [&] {
            return testing::Matches(testing::Contains(line))(state().lines);
        });
    }
    /// The name under which the last line was logged.
    std::string module() const
    {
        const std::lock_guard<std::mutex> guard(state().mutex);
        return state().module;
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable logged;
        std::vector<LogLine> lines;
        std::string module;
        Hook hook;
    };

    // Never destroyed: a thread may still be logging when the process ends.
    static State &state()
    {
        static State &instance = *new State;
        return instance;
    }
    static int simplify(const char *module, int level, const char *text)
    {
        const LogLine line{level, text};
        Hook hook;
        {
            const std::lock_guard<std::mutex> guard(state().mutex);
            state().lines.push_back(line);
            state().module = module;
            hook = state().hook;
            state().logged.notify_all();
        }
        if (hook)
            hook(line);
        return 0;
    }
};

}  // namespace nubrix
