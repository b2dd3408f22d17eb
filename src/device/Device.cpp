#include "device/Device.h"

#include <utility>

#include "base/ErrorNumber.h"
#include "base/LogCall.h"
#include "stream/VideoStream.h"

namespace nubrix {

Device::Device(NubrixBaseDriver &driver) : m_driver(driver)
{
}

Device::~Device() = default;

int Device::open(const char *uri)
{
    logPrint(kLogInfo, "open device %s", uri);
    NubrixBaseDevice *driverDevice = nullptr;
    if (const int failed = m_driver.openDevice(uri, &driverDevice))
        return failed;
    if (!driverDevice)  // the driver reported success without a device
        return -1;
    adopt(driverDevice, uri);
    return 0;
}

int Device::open2(unsigned int vid, unsigned int pid, unsigned int fd, const char *path)
{
    const int signedFd = static_cast<int>(fd);
    logPrint(kLogInfo, "open device %s, fd:%d ", path, signedFd);
    NubrixBaseDevice *driverDevice = nullptr;
    int failed = m_driver.openDeviceByFd(vid, pid, signedFd, path, &driverDevice);
    if (failed == 0 && !driverDevice)  // the driver reported success without a device
        failed = -1;
    if (failed != 0) {
        logPrint(kLogMilestone, "Open Device(%s) Failed, fd(%d), Return Code:%d", path, signedFd,
                 failed);
        return failed;
    }
    adopt(driverDevice, nullptr);
    logPrint(kLogInfo, "open device %s, fd:%d, successfull ", path, signedFd);
    return 0;
}

// Takes over what the driver has opened, or closes it again when that throws. Without a URI the
// driver's device names itself.
void Device::adopt(NubrixBaseDevice *driverDevice, const char *uri)
{
    try {
        const char *const id = uri ? uri : driverDevice->getDeviceId();
        m_deviceId = id ? id : "";
        if (!uri)
            logPrint(kLogInfo, "open2 m_deviceId = %s", m_deviceId.c_str());
        m_deviceKind = driverDevice->getDeviceKind();
    } catch (...) {
        m_driver.closeDevice(&driverDevice);
        throw;
    }
    m_driverDevice = driverDevice;
    m_opened = true;
}

bool Device::beginClose()
{
    return !m_closing.exchange(true);
}

int Device::close()
{
    if (!m_opened) {
        logPrint(kLogInfo, "Device not open");
        return 0;
    }
    NubrixBaseDevice *driverDevice = takeDriverDevice();
    std::array<NubrixBaseStream *, 64> driverStreams = {};
    for (std::size_t type = 0; type < m_sensors.size(); ++type) {
        if (m_sensors[type])
            driverStreams[type] = m_sensors[type]->detachDriverStream();
    }
    try {
        const int result = m_driver.closeDevice(&driverDevice);
        m_opened = false;
        return result;
    } catch (...) {
        m_driverDevice = driverDevice;
        for (std::size_t type = 0; type < m_sensors.size(); ++type) {
            if (m_sensors[type])
                m_sensors[type]->attachDriverStream(driverStreams[type]);
        }
        throw;
    }
}

VideoStream *Device::createStream(unsigned int streamType)
{
    if (isDisconnected()) {
        logPrint(kLogInfo, "Device disconnected, please check it");
        setErrorNumber(NUBRIX_ERR_DEVICE_NOT_FOUND);
        return nullptr;
    }
    if (!m_opened || m_closing) {
        logPrint(kLogInfo, "Device not open");
        setErrorNumber(NUBRIX_ERR_INVALID_DEVICE);
        return nullptr;
    }
    if (isConflictWithOpenedStreams(streamType)) {
        setErrorNumber(NUBRIX_ERR_STREAM_CREATE);
        return nullptr;
    }
    std::unique_ptr<Sensor> &sensor = m_sensors[streamType];
    if (!sensor)
        sensor = std::make_unique<Sensor>(*this, streamType);
    return new VideoStream(*this, *sensor);
}

void Device::destroyStream(VideoStream *stream)
{
    delete stream;
}

bool Device::isDisconnected() const
{
    const InUse driverDevice = inUse();
    return driverDevice && driverDevice->deviceState() == NUBRIX_DEVICE_DISCONNECTED;
}

bool Device::isConflictWithOpenedStreams(unsigned int /*streamType*/) const
{
    // Kept: every combination of streams is admitted; the check is a hook.
    return false;
}

void Device::stopSensors()
{
    for (const auto &sensor : m_sensors) {
        if (sensor)
            sensor->stop();
    }
}

void Device::closeAllStreams()
{
    if (const InUse driverDevice = inUse())
        driverDevice->closeAllStreams();
}

NubrixBaseStream *Device::createDriverStream(unsigned int streamType)
{
    NubrixBaseStream *stream = nullptr;
    if (const InUse driverDevice = inUse())
        driverDevice->createStream(streamType, &stream);
    return stream;
}

void Device::destroyDriverStream(NubrixBaseStream *stream)
{
    if (const InUse driverDevice = inUse())
        driverDevice->destroyStream(&stream);
}

void Device::setStreamOpenedState(unsigned int streamType, bool opened)
{
    m_streamOpened[streamType] = opened ? 1 : 0;
}

// Later uses find nothing; those that are under way are waited for.
NubrixBaseDevice *Device::takeDriverDevice()
{
    NubrixBaseDevice *const driverDevice = m_driverDevice.exchange(nullptr);
    const MutexLock guard(m_closeMutex);
    while (m_users != 0)
        m_closeMutex.wait(m_unused);
    return driverDevice;
}

void Device::notifyUnused() const
{
    const MutexLock guard(m_closeMutex);
    m_unused.notify_all();
}

Device::InUse::InUse(const Device &device, unsigned int errorWithout) : InUse(device)
{
    if (!m_driverDevice)
        setErrorNumber(errorWithout);
}

Device::InUse Device::requireOpen() const
{
    return InUse(*this, NUBRIX_ERR_INVALID_DEVICE);
}

int Device::setProperty(unsigned int id, const void *data, unsigned int size)
{
    const InUse driverDevice = requireOpen();
    return driverDevice ? driverDevice->setProperty(id, data, size) : -3;
}

int Device::getProperty(unsigned int id, void *data, unsigned int *size)
{
    const InUse driverDevice = requireOpen();
    return driverDevice ? driverDevice->getProperty(id, data, size) : -3;
}

bool Device::getStreamCounters(unsigned int streamType, NubrixStreamCounters &counters)
{
    NubrixStreamCounters record = {};
    unsigned int size = sizeof(record);
    const InUse driverDevice = inUse();
    if (!driverDevice || driverDevice->getProperty(NUBRIX_PROPERTY_STREAM_COUNTERS + streamType,
                                                   &record, &size) != 0)
        return false;
    counters = record;
    return size == sizeof(record);  // else another property of that driver's
}

int Device::propertyTranspraentTransmission(unsigned char *in, unsigned int inSize,
                                            unsigned char *out, unsigned int *outSize)
{
    const InUse driverDevice = requireOpen();
    return driverDevice ? driverDevice->propertyTranspraentTransmission(in, inSize, out, outSize)
                        : -3;
}

int Device::setTemperatureParamsFilePath(const char *path)
{
    const InUse driverDevice = inUse();
    return driverDevice ? driverDevice->setTemperatureParamsFilePath(path) : -3;
}

int Device::getSupportFrameMode(unsigned int streamType, const typedefNubrixFrameMode **modes,
                                unsigned int *count)
{
    const InUse driverDevice = inUse();
    return driverDevice ? driverDevice->getSupportFrameMode(streamType, modes, count) : -3;
}

int Device::setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode, bool restart)
{
    const SettingMode setting(*this, streamType);
    const InUse driverDevice = inUse();
    return driverDevice ? driverDevice->setFrameMode(streamType, mode, restart) : -3;
}

void Device::reapplyFrameMode(unsigned int streamType)
{
    const InUse driverDevice = inUse();
    if (!driverDevice)
        return;
    const typedefNubrixFrameMode *const record = driverDevice->getCurrentFrameMode(streamType);
    typedefNubrixFrameMode mode = {};
    if (record && copyMode(streamType, *record, mode))
        driverDevice->setFrameMode(streamType, mode, true);
}

// Copies a record of the driver; false while a call that sets a mode may write it.
bool Device::copyMode(unsigned int streamType, const typedefNubrixFrameMode &record,
                      typedefNubrixFrameMode &copy)
{
    const MutexLock guard(m_modeMutex);
    if (m_modeSetters[streamType] != 0)
        return false;
    copy = record;
    return true;
}

Device::SettingMode::SettingMode(Device &device, unsigned int streamType)
    : m_device(device), m_streamType(streamType)
{
    device.beginSettingMode(streamType);
}

void Device::beginSettingMode(unsigned int streamType)
{
    const MutexLock guard(m_modeMutex);
    if (streamType < m_modeSetters.size())
        ++m_modeSetters[streamType];
}

void Device::endSettingMode(unsigned int streamType)
{
    const MutexLock guard(m_modeMutex);
    if (streamType < m_modeSetters.size())
        --m_modeSetters[streamType];
}

typedefNubrixFrameMode *Device::getCurrentFrameMode(unsigned int &streamType)
{
    const InUse driverDevice = inUse();
    return driverDevice ? driverDevice->getCurrentFrameMode(streamType) : nullptr;
}

int Device::convertDepthToPointCloud2(const unsigned short *depth, unsigned int width,
                                      unsigned int height, float s, float fx, float fy, float cx,
                                      float cy, typedefNubrixPoint3D *points,
                                      unsigned int pixelType, bool limitRange)
{
    const InUse driverDevice = inUse();
    // Kept: a success without a driver's device. See docs/oddities.md.
    return driverDevice
               ? driverDevice->convertDepthToPointCloud2(depth, width, height, s, fx, fy, cx, cy,
                                                         points, pixelType, limitRange)
               : 0;
}

NubrixBaseUpgrade *Device::createUpgradeIntance()
{
    const InUse driverDevice = inUse();
    return driverDevice ? driverDevice->createUpgradeIntance() : nullptr;
}

int Device::deviceState() const
{
    const InUse driverDevice = inUse();
    return driverDevice ? driverDevice->deviceState() : int{NUBRIX_DEVICE_DISCONNECTED};
}

int Device::keepLiveState() const
{
    const InUse driverDevice = inUse();
    return driverDevice ? driverDevice->keepLiveState() : 0;
}

}  // namespace nubrix
