#include "virtual/VirtualStream.h"

#include <chrono>
#include <exception>

#include "virtual/StreamRun.h"
#include "virtual/VirtualCamera.h"
#include "virtual/VirtualDevice.h"

namespace nubrix {

VirtualStream::VirtualStream(VirtualDevice &device, unsigned int streamType)
    : DriverStream(streamType), m_device(device)
{
}

VirtualStream::~VirtualStream()
{
    VirtualStream::stop();
}

unsigned int VirtualStream::getFrameBufferSize()
{
    return m_device.camera().source().largestPicture(m_streamType, m_device.mode(m_streamType)) +
           m_device.camera().faults().extraBufferBytes(m_streamType);
}

int VirtualStream::start()
try {
    if (!mayStart())
        return kWrongState;
    if (m_device.isGone())
        return kGone;
    VirtualCamera &camera = m_device.camera();
    const unsigned int upgrades = camera.upgrades();
    if (camera.isUpgrading())
        return kWrongState;
    if (const int status = camera.faults().startAttempt(
            m_streamType, camera.msAt(std::chrono::steady_clock::now())))
        return status;
    const typedefNubrixFrameMode mode = m_device.mode(m_streamType);
    camera.source().prepare(m_streamType, mode);
    camera.faults().beginRun(m_streamType);
    camera.threads().join(m_thread);  // its last frame comes before the first one of this start
    return begin(mode, upgrades);
} catch (const std::exception &) {
    return kFailed;
}

int VirtualStream::begin(const typedefNubrixFrameMode &mode, unsigned int upgrades)
{
    // A stop from within the first callback waits here.
    const std::lock_guard<std::mutex> lock(m_lock);
    const std::shared_ptr<OpenState> state = m_device.state();
    const CameraClock::Place place = state->clock.begin();
    try {
        const auto run = std::make_shared<StreamRun>(
            StreamRun::Setup{m_device.camera(), state, m_streamType, upgrades, mode, place,
                             m_allocator, m_callback, m_user});
        m_thread = m_device.camera().threads().run([run] { run->deliver(); });
        m_run = run;
        m_running = true;
        return kDone;
    } catch (const std::exception &) {
        state->clock.end();
        return kFailed;
    }
}

int VirtualStream::stop()
{
    DriverThreads::Handle thread;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_running.exchange(false)) {
            m_run->end();
            m_device.state()->clock.end();
        }
        thread = m_thread;
    }
    m_device.camera().threads().join(thread);
    return kDone;
}

std::uint32_t VirtualStream::nextFrame() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_run ? m_run->nextFrame() : 0;
}

void VirtualStream::wake()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_run)
        m_run->wake();
}

}  // namespace nubrix
