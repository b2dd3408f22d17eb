#include "FrameWait.h"

#include <string>

#include "Failure.h"
#include "FrameImage.h"
#include "MonotonicClock.h"

namespace nubrix {

namespace {

constexpr int kTimeOut = -11;
constexpr int kSliceMs = 200;
constexpr std::uint64_t kLongestUs = 5000000;

}  // namespace

FrameWait::FrameWait(Camera &camera, const StreamKind &kind) : m_context(camera.context())
{
    require(std::string("openStream (") + kind.name + ")", [&] {
        return m_context.openStream(camera.handle(), kind.type, &m_stream, nullptr, nullptr);
    });
    try {
        const std::uint64_t startUs = monotonicUs();
        while (!m_frame) {
            if (monotonicUs() - startUs > kLongestUs)
                throw Failure(std::string("no frame of ") + kind.name + " came within 5 s");
            read();
        }
    } catch (...) {
        m_context.closeStream(m_stream);
        throw;
    }
}

FrameWait::~FrameWait()
{
    m_context.releaseFrame(m_frame);
    m_context.closeStream(m_stream);
}

void FrameWait::read()
{
    typedefNubrixFrame *frame = nullptr;
    std::string problem;
    const int status = attempt(
        "readFrame", [&] { return m_context.readFrame(m_stream, &frame, kSliceMs); }, &problem);
    if (status == kTimeOut)
        return;
    if (status != 0)
        throw Failure(problem);
    if (isWhole(*frame))
        m_frame = frame;
    else
        m_context.releaseFrame(frame);
}

}  // namespace nubrix
