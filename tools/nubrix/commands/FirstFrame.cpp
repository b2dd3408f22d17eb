#include "commands/FirstFrame.h"

#include <string>

#include "Failure.h"
#include "StreamStatistics.h"
#include "output/FrameImage.h"

namespace nubrix::tool {

namespace {

constexpr int kReadTimeoutMs = 200;
constexpr std::uint64_t kFirstFrameTimeoutUs = 5000000;

}  // namespace

FirstFrame::FirstFrame(Camera &camera, const StreamKind &kind) : m_context(camera.context())
{
    require(std::string("openStream (") + kind.name + ")", [&] {
        return m_context.openStream(camera.handle(), kind.type, &m_stream, nullptr, nullptr);
    });
    try {
        const std::uint64_t startUs = monotonicUs();
        while (!m_frame) {
            if (monotonicUs() - startUs > kFirstFrameTimeoutUs)
                throw Failure(std::string("no frame of ") + kind.name + " arrived within 5 s");
            read();
        }
    } catch (...) {
        m_context.closeStream(m_stream);
        throw;
    }
}

FirstFrame::~FirstFrame()
{
    m_context.releaseFrame(m_frame);
    m_context.closeStream(m_stream);
}

void FirstFrame::read()
{
    typedefNubrixFrame *frame = nullptr;
    std::string problem;
    const int status = attempt(
        "readFrame", [&] { return m_context.readFrame(m_stream, &frame, kReadTimeoutMs); },
        &problem);
    if (status == kStatusTimeout)
        return;
    if (status != 0)
        throw Failure(problem);
    if (isComplete(*frame))
        m_frame = frame;
    else
        m_context.releaseFrame(frame);
}

}  // namespace nubrix::tool
