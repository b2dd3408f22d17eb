#include "stream/Sensor.h"

#include <utility>

#include "base/CriticalSectionWrapper.h"
#include "base/LogCall.h"
#include "device/Device.h"

namespace nubrix {

namespace {

constexpr unsigned int kFirstBufferSize = 624640;  // until the driver states its own
constexpr unsigned int kReuseThreshold = 4;
constexpr unsigned int kMaxFrames = 10;

}  // namespace

Sensor::Sensor(Device &device, unsigned int type)
    : m_device(device), m_type(type), m_pool(kFirstBufferSize, kReuseThreshold, kMaxFrames)
{
}

Sensor::~Sensor()
{
    if (m_driverStream)
        m_device.destroyDriverStream(m_driverStream);
}

int Sensor::start()
{
    logEmptyLine();
    const CriticalSectionScoped guard(m_lock);
    if (m_startCount++ != 0)
        return 0;
    // Kept: a start that fails from here on still counts. See docs/oddities.md.
    try {
        return startDriverStream();
    } catch (...) {
        m_startCount = 0;
        throw;
    }
}

int Sensor::startDriverStream()
{
    if (!prepareDriverStream()) {
        logPrint(kLogError, "Created driver stream failed!");
        return -8;
    }
    m_driverStream->setFrameCallback(&Sensor::onNewFrameCallBackFunc, this);
    const unsigned int size = m_driverStream->getFrameBufferSize();
    logPrint(kLogInfo, "get frame buffer size=%d", static_cast<int>(size));
    m_pool.setFrameBufferSize(size);
    m_driverStream->setFrameAllocator(&m_pool);
    if (const int failed = m_driverStream->start())
        return failed;
    m_started = true;
    m_device.setStreamOpenedState(m_type, true);
    logPrint(kLogInfo, "%d Sensor started", static_cast<int>(m_type));
    if (m_usePreProcess)
        m_preProcess.start(this);
    return 0;
}

bool Sensor::prepareDriverStream()
{
    if (!m_driverStream) {
        m_driverStream = m_device.createDriverStream(m_type);
        return m_driverStream != nullptr;
    }
    m_device.reapplyFrameMode(m_type);
    return true;
}

void Sensor::stop()
{
    logEmptyLine();
    const CriticalSectionScoped guard(m_lock);
    if (m_startCount == 0)
        return;
    if (m_startCount > 1) {
        --m_startCount;
        return;
    }
    if (m_driverStream)
        m_driverStream->stop();
    m_startCount = 0;
    if (m_usePreProcess)
        m_preProcess.stop();
    m_started = false;
    m_device.setStreamOpenedState(m_type, false);
}

NubrixBaseStream *Sensor::detachDriverStream()
{
    const CriticalSectionScoped guard(m_lock);
    return std::exchange(m_driverStream, nullptr);
}

void Sensor::attachDriverStream(NubrixBaseStream *stream)
{
    const CriticalSectionScoped guard(m_lock);
    m_driverStream = stream;
}

void Sensor::onNewFrameCallBackFunc(NubrixFrameRef *frame, void *context)
{
    static_cast<Sensor *>(context)->onNewFrame(frame);
}

}  // namespace nubrix
