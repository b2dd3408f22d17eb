#include "commands/FrameCounter.h"

namespace nubrix::tool {

void FrameCounter::add(const client::Frame &frame)
{
    const std::lock_guard lock(m_lock);
    if (limitReached())
        return;
    m_lastEventUs = monotonicUs();
    const typedefNubrixFrame &record = frame.record();
    const std::uint64_t captureUs =
        static_cast<std::uint64_t>(record.timestampHigh) << 32 | record.timestampLow;
    const bool damaged = frame.type() != m_type || !frame.isComplete();
    m_statistics.add({frame.index(), captureUs, m_lastEventUs, damaged});
    if (m_options.keepFrames && !damaged)
        m_saved.add(record);
    ++m_frames;
}

StreamFigures FrameCounter::figures() const
{
    const std::lock_guard lock(m_lock);
    StreamFigures figures = m_statistics.figures();
    figures.hasAge = !m_options.isPlayback;
    return figures;
}

bool FrameCounter::complete() const
{
    const std::lock_guard lock(m_lock);
    return limitReached();
}

std::uint64_t FrameCounter::idleUs() const
{
    const std::lock_guard lock(m_lock);
    return monotonicUs() - m_lastEventUs;
}

std::vector<std::string> FrameCounter::save(const std::string &folder) const
{
    const std::lock_guard lock(m_lock);
    return m_saved.save(folder, client::name(m_type));
}

}  // namespace nubrix::tool
