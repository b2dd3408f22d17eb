#include "net/NetStream.h"

#include <utility>

#include "net/NetDevice.h"
#include "net/Report.h"

namespace nubrix::net {

NetStream::NetStream(NetDevice &device, unsigned int streamType)
    : DriverStream(streamType), m_device(device)
{
}

NetStream::~NetStream()
{
    NetStream::stop();
}

unsigned int NetStream::getFrameBufferSize()
{
    const typedefNubrixFrameMode mode = m_device.modeOf(m_streamType);
    return static_cast<unsigned int>(mode.width) * mode.height * pixelBytes(mode.pixelFormat);
}

int NetStream::start()
try {
    if (!mayStart())
        return kWrongState;
    if (m_device.state()->isGone())
        return kGone;
    StreamSetup setup = m_device.setupOf(m_streamType);
    setup.room = m_allocator->getFrameBufferSize();
    if (setup.room < getFrameBufferSize()) {
        report(setup.name + " needs frames of " + std::to_string(getFrameBufferSize()) +
               " bytes, and those it has been given have " + std::to_string(setup.room));
        return kWrongState;
    }
    setup.allocator = m_allocator;
    setup.callback = m_callback;
    setup.user = m_user;
    if (isEnding()) {
        report(setup.name + " has been stopped by its frame callback, which has not returned yet");
        return kWrongState;
    }
    const auto session = std::make_shared<StreamSession>(std::move(setup), m_device.state());
    ArvCamera *camera = m_device.camera();
    m_stopCamera = CameraWorker::prepare([session, camera] { session->stopCamera(*camera); });
    m_tearDown = CameraWorker::prepare([session] { session->tearDown(); });
    if (!m_device.claimCamera(*this)) {
        report(m_device.name() + " sends one stream at a time: stop the other one first");
        return kWrongState;
    }
    m_running = true;  // from here on a stop undoes everything
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_session = session;
    }
    m_device.state()->notePicture();  // the watch counts from here
    const auto end = NetDevice::callEnd();
    auto begun =
        m_device.worker().submit(end, [session, camera] { return session->begin(*camera); });
    const int status = m_device.await(begun, end) ? begun.get() : kGone;
    if (status != kDone)
        stop();
    return status;
} catch (...) {
    reportFailure("starting a stream of a network camera");
    stop();
    return kFailed;
}

int NetStream::stop()
{
    if (!m_running.exchange(false))
        return kDone;
    std::shared_ptr<StreamSession> session;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        session = m_session;
    }
    const auto end = NetDevice::callEnd();
    // Nobody waits for it: what comes next is done after it.
    m_device.worker().submit(end, std::move(m_stopCamera));
    session->end();
    m_device.worker().submit(end, std::move(m_tearDown));
    m_device.releaseCamera(*this);
    session->reportLosses();
    return kDone;
}

/// Within the callback that has stopped it.
bool NetStream::isEnding() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_session && m_session->isDelivering();
}

bool NetStream::isSilent() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_session && m_session->isSilent();
}

StreamCounters NetStream::counters() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_session ? m_session->counters() : StreamCounters{};
}

}  // namespace nubrix::net
