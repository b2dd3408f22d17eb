#include "net/NetDriver.h"

#include <cstring>
#include <exception>
#include <utility>

#include "common/DriverParts.h"
#include "common/Text.h"
#include "net/NetSettings.h"

namespace nubrix::net {

namespace {

std::string locationOf(const NetIdentity &camera)
{
    return camera.mac + " " + camera.address;
}

void describeCamera(const NetIdentity &camera, typedefNubrixeviceAttribute &record)
{
    typedefNubrixeviceAttribute filled = {};
    filled.transport = 2;
    filled.deviceState = NUBRIX_DEVICE_CONNECTED;
    copyText(filled.serialNumber, camera.serial);
    copyText(filled.uri, camera.uri());
    copyText(filled.location, locationOf(camera));
    copyText(filled.productName, camera.vendor + " " + camera.model);
    std::memcpy(&record, &filled, sizeof filled);
}

}  // namespace

NetDriver::NetDriver(const std::vector<std::string> &settingsFiles)
    : m_settings(settingsFiles), m_monitor(m_settings, [this](const CameraMonitor::Change &change) {
          const NetIdentity &camera = change.camera;
          m_callback.notify(camera.uri(), camera.serial, locationOf(camera), change.connected);
      })
{
}

NetDriver::~NetDriver()
{
    m_monitor.stop();
    m_devices.clear();
}

int NetDriver::initialize()
try {
    if (m_initialized.exchange(true))
        return kWrongState;
    m_monitor.start();
    return kDone;
} catch (...) {
    m_initialized = false;
    reportFailure("searching for network cameras");
    return kFailed;
}

int NetDriver::setDeviceStateCallback(DriverStateCallback callback, void *user)
{
    m_callback.set(callback, user);
    return kDone;
}

int NetDriver::getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count)
{
    return listRecords([this] { return m_monitor.cameras(); }, describeCamera, records, count);
}

int NetDriver::openDevice(const char *uri, NubrixBaseDevice **device)
try {
    if (uri == nullptr || device == nullptr)
        return kBadArgument;
    const std::string address = addressInUri(uri);
    if (address.empty())
        return kBadArgument;
    const auto begin = CameraState::Clock::now();  // the wait for other workers counts, too
    joinFinished();
    std::unique_ptr<NetDevice> opened;
    if (const int status = NetDevice::open(address, begin, m_settings, m_workers, opened))
        return status;
    m_monitor.track(address, opened->state());
    return m_devices.keep(std::move(opened), device);
} catch (...) {
    reportFailure("opening a network camera");
    return kFailed;
}

int NetDriver::closeDevice(NubrixBaseDevice **device)
{
    const int status = m_devices.close(device);
    joinFinished();
    return status;
}

/// Does nothing in a frame callback, whose return a worker may be waiting for. The next call joins
/// it.
void NetDriver::joinFinished() noexcept
{
    if (!StreamSession::isInCallback())
        m_workers.joinFinished();
}

}  // namespace nubrix::net
