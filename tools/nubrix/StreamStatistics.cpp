#include "StreamStatistics.h"

namespace nubrix {

void StreamStatistics::add(const Arrival &arrival)
{
    if (m_figures.frames == 0)
        m_firstArrivalUs = arrival.arrivalUs;
    else
        compareIndex(arrival.frameIndex);
    m_lastArrivalUs = arrival.arrivalUs;
    m_figures.lastIndex = arrival.frameIndex;
    ++m_figures.frames;
    if (arrival.damaged)
        ++m_figures.damaged;
    m_ages.add(arrival.arrivalUs > arrival.captureUs ? arrival.arrivalUs - arrival.captureUs : 0);
}

StreamFigures StreamStatistics::figures() const
{
    StreamFigures figures = m_figures;
    if (m_lastArrivalUs > m_firstArrivalUs)
        figures.framesPerSecond = static_cast<double>(m_figures.frames - 1) * 1e6 /
                                  static_cast<double>(m_lastArrivalUs - m_firstArrivalUs);
    figures.ageMedianUs = m_ages.percentile(50);
    figures.age99PercentUs = m_ages.percentile(99);
    return figures;
}

void StreamStatistics::compareIndex(std::uint32_t index)
{
    // The index is a counter of 32 bits that starts again at 0.
    const std::uint32_t step = index - m_figures.lastIndex;
    if (step == 1)
        return;
    ++m_figures.gaps;
    if (step != 0 && step < 0x80000000U)
        m_figures.lost += step - 1;
}

}  // namespace nubrix
