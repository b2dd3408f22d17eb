#include "ProgressBar.h"

#include <unistd.h>

#include <iostream>
#include <utility>

#include "MonotonicClock.h"

namespace nubrix {

namespace {

constexpr std::size_t kWidth = 30;
constexpr std::uint64_t kPauseUs = 100000;

}  // namespace

ProgressBar::ProgressBar(std::uint64_t total, std::string what, bool wanted)
    : m_total(total), m_what(std::move(what)), m_shown(wanted && isatty(STDOUT_FILENO) == 1)
{
}

ProgressBar::~ProgressBar()
{
    if (m_shown)
        std::cout << "\r\033[K" << std::flush;
}

void ProgressBar::draw(std::uint64_t done)
{
    const std::uint64_t nowUs = monotonicUs();
    if (!m_shown || m_total == 0 || (done < m_total && nowUs - m_drawnUs < kPauseUs))
        return;
    m_drawnUs = nowUs;
    const auto filled = static_cast<std::size_t>(done * kWidth / m_total);
    std::cout << "\r[" << std::string(filled, '#') << std::string(kWidth - filled, '.') << "] "
              << done * 100 / m_total << " %, " << done << " of " << m_total << ' ' << m_what
              << std::flush;
}

}  // namespace nubrix
