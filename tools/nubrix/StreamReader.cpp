#include "StreamReader.h"

#include "Failure.h"
#include "StreamStatistics.h"

namespace nubrix::tool {

StreamReader::StreamReader(Camera &camera, const StreamKind &kind, const Options &options,
                           const StopSignal &stop)
    : m_context(camera.context()),
      m_kind(kind),
      m_options(options),
      m_stop(stop),
      m_lastEventUs(monotonicUs())
{
    require(std::string("openStream (") + kind.name + ")", [&] {
        return m_context.openStream(camera.handle(), kind.type, &m_stream,
                                    options.byCallback ? onFrame : nullptr, this);
    });
}

StreamReader::~StreamReader()
{
    close();
}

bool StreamReader::poll()
{
    typedefNubrixFrame *frame = nullptr;
    std::string problem;
    const int status = attempt(
        std::string("readFrame (") + m_kind.name + ")",
        [&] { return m_context.readFrame(m_stream, &frame, 0); }, &problem);
    // Also returned after a wake-up without a frame; the next call reads that frame.
    if (status == kStatusTimeout)
        return false;
    if (status != 0)
        throw Failure(problem);
    receive(frame);
    return true;
}

void StreamReader::close()
{
    if (m_stream != nullptr)
        m_context.closeStream(m_stream);
    m_stream = nullptr;
}

StreamFigures StreamReader::figures() const
{
    const std::lock_guard lock(m_lock);
    return m_statistics.figures();
}

bool StreamReader::complete() const
{
    const std::lock_guard lock(m_lock);
    return limitReached();
}

std::uint64_t StreamReader::idleUs() const
{
    const std::lock_guard lock(m_lock);
    return monotonicUs() - m_lastEventUs;
}

void StreamReader::rethrowProblem() const
{
    const std::lock_guard lock(m_lock);
    if (m_problem)
        std::rethrow_exception(m_problem);
}

std::vector<std::string> StreamReader::save(const std::string &folder) const
{
    const std::lock_guard lock(m_lock);
    return m_saved.save(folder, m_kind.name);
}

void StreamReader::onFrame(NubrixStream *, typedefNubrixFrame *frame, void *user)
{
    static_cast<StreamReader *>(user)->receive(frame);
}

void StreamReader::receive(typedefNubrixFrame *frame) noexcept
{
    bool over = false;
    {
        const std::lock_guard lock(m_lock);
        try {
            if (!limitReached())
                count(*frame);
        } catch (...) {
            // No exception may reach the library; rethrowProblem() reports it.
            m_problem = std::current_exception();
        }
        over = limitReached() || m_problem;
    }
    m_context.releaseFrame(frame);
    if (over)
        m_stop.wake();
}

void StreamReader::count(const typedefNubrixFrame &frame)
{
    m_lastEventUs = monotonicUs();
    const std::uint64_t captureUs =
        static_cast<std::uint64_t>(frame.timestampHigh) << 32 | frame.timestampLow;
    const bool damaged = frame.streamType != m_kind.type || !isComplete(frame);
    m_statistics.add({frame.frameIndex, captureUs, m_lastEventUs, damaged});
    if (m_options.keepFrames && !damaged)
        m_saved.add(frame);
    ++m_frames;
}

}  // namespace nubrix::tool
