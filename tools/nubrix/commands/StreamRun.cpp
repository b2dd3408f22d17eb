#include "commands/StreamRun.h"

#include <algorithm>
#include <stdexcept>

namespace nubrix::tool {

namespace {

constexpr std::uint64_t kTickUs = 200000;
constexpr std::uint64_t kStreamTimeoutUs = 5000000;

std::string timeoutText(const FrameCounter &counter)
{
    const StreamFigures figures = counter.figures();
    std::string text = std::string("no frame of ") + client::name(counter.type()) + " for " +
                       std::to_string(kStreamTimeoutUs / 1000000) +
                       " s, although the camera is connected and responds; ";
    if (figures.frames == 0)
        return text + "none arrived since the stream was opened";
    return text + "the last one had the index " + std::to_string(figures.lastIndex);
}

}  // namespace

std::string StreamRun::run()
{
    std::string problem;
    try {
        monitor();
    } catch (const std::runtime_error &error) {
        problem = error.what();
    }
    takeFrames();
    for (const auto &each : m_streams) {
        try {
            each->stream.stop();
        } catch (const client::Error &error) {
            if (problem.empty())
                problem = error.what();
        }
    }
    if (!problem.empty() || m_stop.requested())
        return problem;
    for (const auto &each : m_streams) {
        if (each->counter.figures().frames == 0) {
            return std::string("no frame of ") + client::name(each->counter.type()) +
                   " arrived in this time";
        }
    }
    return {};
}

void StreamRun::monitor()
{
    m_startUs = monotonicUs();
    std::uint64_t lastTickUs = m_startUs;
    while (!finished()) {
        step();
        if (monotonicUs() - lastTickUs < kTickUs)
            continue;
        lastTickUs = monotonicUs();
        checkHealth();
        m_options.onTick();
    }
}

bool StreamRun::finished() const
{
    return m_stop.requested() || timeOver() ||
           std::all_of(m_streams.begin(), m_streams.end(),
                       [](const auto &each) { return each->counter.complete(); });
}

void StreamRun::step()
{
    std::uint64_t waitUs = kTickUs;
    if (m_options.seconds > 0) {
        const auto limitUs = static_cast<std::uint64_t>(m_options.seconds * 1e6);
        waitUs = std::min(waitUs, limitUs - std::min(limitUs, monotonicUs() - m_startUs));
    }
    const auto milliseconds = static_cast<int>(waitUs / 1000 + 1);
    if (m_options.byCallback)
        m_stop.wait(milliseconds);
    else
        waitForFrame(milliseconds);
}

void StreamRun::waitForFrame(int milliseconds)
{
    std::vector<client::Stream *> streams;
    for (const auto &each : m_streams)
        if (!each->counter.complete())
            streams.push_back(&each->stream);
    try {
        client::waitAny(streams, client::Milliseconds(milliseconds));
    } catch (const client::Timeout &) {
        return;  // checkHealth decides how long is too long
    }
    takeFrames();
}

void StreamRun::takeFrames()
{
    for (const auto &each : m_streams)
        if (const client::Frame frame = each->stream.tryNext())
            each->counter.add(frame);
}

void StreamRun::checkHealth()
{
    for (const auto &each : m_streams) {
        each->stream.check();
        if (!each->counter.complete() && each->counter.idleUs() > kStreamTimeoutUs)
            throw std::runtime_error(timeoutText(each->counter));
    }
}

bool StreamRun::timeOver() const
{
    return m_options.seconds > 0 &&
           static_cast<double>(monotonicUs() - m_startUs) >= m_options.seconds * 1e6;
}

}  // namespace nubrix::tool
