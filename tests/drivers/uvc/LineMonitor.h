// Captures what the driver writes to stderr.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "tests/TemporaryFolder.h"
#include "tests/drivers/FakePool.h"

namespace nubrix::uvc {

/// Redirects stderr to a file until its destruction.
class LineMonitor {
public:
    LineMonitor()
    {
        const int target = ::open(m_file.c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
        ::dup2(target, STDERR_FILENO);
        ::close(target);
    }
    ~LineMonitor()
    {
        ::dup2(m_stderr, STDERR_FILENO);
        ::close(m_stderr);
    }
    LineMonitor(const LineMonitor &) = delete;
    LineMonitor &operator=(const LineMonitor &) = delete;

    /// Waits until the text has been written; false after the deadline.
    bool await(const std::string &text) const
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (count(text) == 0) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }
    /// How often the text has been written.
    std::size_t count(const std::string &text) const
    {
        std::ifstream file(m_file);
        const std::string lines(std::istreambuf_iterator<char>(file), {});
        std::size_t found = 0;
        for (auto at = lines.find(text); at != std::string::npos; at = lines.find(text, at + 1))
            ++found;
        return found;
    }

private:
    TemporaryFolder m_folder;
    const std::string m_file = m_folder.file("stderr");
    const int m_stderr = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
};

}  // namespace nubrix::uvc
