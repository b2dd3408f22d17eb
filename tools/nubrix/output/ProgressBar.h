// Progress on the terminal: a line that is redrawn, as text or as a bar.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace nubrix::tool {

/// One line of standard output that is redrawn, and cleared by the destructor. Draws nothing when
/// standard output is no terminal.
///
/// Not thread-safe.
class LiveLine {
public:
    explicit LiveLine(bool wanted);
    ~LiveLine();
    LiveLine(const LiveLine &) = delete;
    LiveLine &operator=(const LiveLine &) = delete;

    void draw(const std::string &text) const;

private:
    const bool m_shown;
};

/// Shows how much of a known amount is done.
///
/// Not thread-safe.
class ProgressBar {
public:
    /// `total` is the amount to do; `unit` names what is counted: "records".
    ProgressBar(std::uint64_t total, std::string unit, bool wanted);

    /// Draws the bar ten times a second at most, and when `done` reaches the total.
    void draw(std::uint64_t done);

private:
    using Clock = std::chrono::steady_clock;

    const std::uint64_t m_total;
    const std::string m_unit;
    const LiveLine m_line;
    Clock::time_point m_nextDraw;
};

}  // namespace nubrix::tool
