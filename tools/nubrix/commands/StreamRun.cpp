#include "commands/StreamRun.h"

#include <algorithm>

#include "Failure.h"

namespace nubrix::tool {

namespace {

constexpr std::uint64_t kTickUs = 200000;
constexpr std::uint64_t kStreamTimeoutUs = 5000000;
// Short, because a frame that arrives just before a wait begins does not end the wait.
constexpr int kFrameTimeoutMs = 10;

std::string timeoutText(const StreamReader &reader)
{
    const StreamFigures figures = reader.figures();
    std::string text = std::string("no frame of ") + reader.kind().name + " for " +
                       std::to_string(kStreamTimeoutUs / 1000000) +
                       " s, although the camera is connected and responds; ";
    if (figures.frames == 0)
        return text + "none arrived since the stream was opened";
    return text + "the last one had the index " + std::to_string(figures.lastIndex);
}

}  // namespace

bool waitForStreams(NubrixBaseContext &context, std::vector<NubrixStream *> streams, int timeoutMs)
{
    NubrixStream *ready = nullptr;
    std::string problem;
    const int status = attempt(
        "waitForStreams",
        [&] {
            return context.waitForStreams(streams.data(), static_cast<int>(streams.size()), &ready,
                                          timeoutMs);
        },
        &problem);
    if (status != 0 && status != kStatusTimeout)
        throw Failure(problem);
    return status == 0;
}

std::string StreamRun::run()
{
    m_startUs = monotonicUs();
    std::uint64_t lastTickUs = m_startUs;
    try {
        while (!finished()) {
            step();
            if (monotonicUs() - lastTickUs < kTickUs)
                continue;
            lastTickUs = monotonicUs();
            checkHealth();
            m_options.onTick();
        }
    } catch (const Failure &failure) {
        return failure.what();
    }
    if (m_stop.requested())
        return {};
    for (const auto &reader : m_readers)
        if (reader->figures().frames == 0)
            return std::string("no frame of ") + reader->kind().name + " arrived in this time";
    return {};
}

bool StreamRun::finished() const
{
    return m_stop.requested() || timeOver() ||
           std::all_of(m_readers.begin(), m_readers.end(),
                       [](const auto &reader) { return reader->complete(); });
}

void StreamRun::step()
{
    if (!m_options.byCallback)
        return pollOnce();
    std::uint64_t waitUs = kTickUs;
    if (m_options.seconds > 0) {
        const auto limitUs = static_cast<std::uint64_t>(m_options.seconds * 1e6);
        waitUs = std::min(waitUs, limitUs - std::min(limitUs, monotonicUs() - m_startUs));
    }
    m_stop.wait(static_cast<int>(waitUs / 1000 + 1));
}

void StreamRun::pollOnce()
{
    bool any = false;
    for (const auto &reader : m_readers)
        if (!reader->complete())
            any = reader->poll() || any;
    // Only when no frame is left: a frame that has already arrived would not end the wait.
    if (!any)
        waitForFrames();
}

void StreamRun::waitForFrames()
{
    std::vector<NubrixStream *> streams;
    for (const auto &reader : m_readers)
        if (!reader->complete())
            streams.push_back(reader->handle());
    if (!streams.empty())
        waitForStreams(m_context, streams, kFrameTimeoutMs);
}

void StreamRun::checkHealth()
{
    std::vector<NubrixStream *> streams;
    for (const auto &reader : m_readers)
        streams.push_back(reader->handle());
    waitForStreams(m_context, streams, 0);
    for (const auto &reader : m_readers) {
        reader->rethrowProblem();
        if (!reader->complete() && reader->idleUs() > kStreamTimeoutUs)
            throw Failure(timeoutText(*reader));
    }
}

bool StreamRun::timeOver() const
{
    return m_options.seconds > 0 &&
           static_cast<double>(monotonicUs() - m_startUs) >= m_options.seconds * 1e6;
}

}  // namespace nubrix::tool
