#include "output/ProgressBar.h"

#include <unistd.h>

#include <iostream>
#include <utility>

namespace nubrix::tool {

namespace {

constexpr std::size_t kBarWidth = 30;
constexpr std::chrono::milliseconds kRedrawInterval(100);

}  // namespace

LiveLine::LiveLine(bool wanted) : m_shown(wanted && isatty(STDOUT_FILENO) == 1)
{
}

LiveLine::~LiveLine()
{
    draw({});
}

void LiveLine::draw(const std::string &text) const
{
    if (m_shown)
        std::cout << '\r' << text << "\033[K" << std::flush;
}

ProgressBar::ProgressBar(std::uint64_t total, std::string unit, bool wanted)
    : m_total(total), m_unit(std::move(unit)), m_line(wanted)
{
}

void ProgressBar::draw(std::uint64_t done)
{
    const Clock::time_point now = Clock::now();
    if (m_total == 0 || (done < m_total && now < m_nextDraw))
        return;
    m_nextDraw = now + kRedrawInterval;
    const auto filled = static_cast<std::size_t>(done * kBarWidth / m_total);
    m_line.draw('[' + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] " +
                std::to_string(done * 100 / m_total) + " %, " + std::to_string(done) + " of " +
                std::to_string(m_total) + ' ' + m_unit);
}

}  // namespace nubrix::tool
