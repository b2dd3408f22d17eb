// How far a command has come, as a line that is redrawn.
#pragma once

#include <cstdint>
#include <string>

namespace nubrix {

/// A bar on standard output if that is a terminal, otherwise nothing. The line is cleared when the
/// bar is destroyed.
///
/// Not thread-safe.
class ProgressBar {
public:
    /// `total` is what there is to do; `what` names it: "records".
    ProgressBar(std::uint64_t total, std::string what, bool wanted);
    ~ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    /// Draws the bar ten times a second at most, and whenever `done` is all.
    void draw(std::uint64_t done);

private:
    const std::uint64_t m_total;
    const std::string m_what;
    const bool m_shown;
    std::uint64_t m_drawnUs = 0;
};

}  // namespace nubrix
