#include "output/StreamTable.h"

#include <array>
#include <cstdio>
#include <iostream>

namespace nubrix::tool {

namespace {

constexpr std::size_t kSnapshotsPerSecond = 5;

std::string ageText(const StreamFigures &figures, std::uint64_t ageUs)
{
    return figures.hasAge ? std::to_string(ageUs) : "-";
}

}  // namespace

void StreamTable::drawLive(const std::vector<StreamRow> &rows, std::uint64_t nowUs)
{
    std::vector<StreamRow> shown = rows;
    if (!m_past.empty() && nowUs > m_past.front().timeUs) {
        const Snapshot &before = m_past.front();
        const auto passedUs = static_cast<double>(nowUs - before.timeUs);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const std::uint64_t frames = rows[i].figures.frames - before.rows[i].figures.frames;
            shown[i].figures.framesPerSecond = static_cast<double>(frames) * 1e6 / passedUs;
        }
    }
    m_past.push_back({nowUs, rows});
    if (m_past.size() > kSnapshotsPerSecond)
        m_past.pop_front();

    clearLive();
    std::cout << summary(shown) << std::flush;
    m_drawnLines = rows.size() + 1;
}

void StreamTable::clearLive()
{
    // Moves to the first line of the table and clears the screen from there.
    if (m_drawnLines > 0)
        std::cout << "\033[" << m_drawnLines << "A\r\033[J";
    m_drawnLines = 0;
}

std::string StreamTable::summary(const std::vector<StreamRow> &rows)
{
    std::array<char, 160> line{};
    std::snprintf(line.data(), line.size(), "%-9s %8s %9s %6s %6s %8s %14s %12s\n", "stream",
                  "frames", "frames/s", "gaps", "lost", "damaged", "median age/us", "99 %/us");
    std::string text = line.data();
    for (const StreamRow &row : rows) {
        const StreamFigures &figures = row.figures;
        std::snprintf(line.data(), line.size(), "%-9s %8llu %9.1f %6llu %6llu %8llu %14s %12s\n",
                      row.name.c_str(), static_cast<unsigned long long>(figures.frames),
                      figures.framesPerSecond, static_cast<unsigned long long>(figures.gaps),
                      static_cast<unsigned long long>(figures.lost),
                      static_cast<unsigned long long>(figures.damaged),
                      ageText(figures, figures.ageMedianUs).c_str(),
                      ageText(figures, figures.age99PercentUs).c_str());
        text += line.data();
    }
    return text;
}

}  // namespace nubrix::tool
