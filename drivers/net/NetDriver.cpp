#include "net/NetDriver.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>

#include "common/Text.h"
#include "net/Report.h"

namespace nubrix {

namespace {

std::string locationOf(const NetIdentity &camera)
{
    return camera.mac + " " + camera.address;
}

void describe(const NetIdentity &camera, typedefNubrixeviceAttribute &record)
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

NetDriver::NetDriver(const std::string &settings)
    : m_settings(settings),
      m_watch(m_settings, [this](const CameraWatch::Change &change) { tell(change); })
{
}

NetDriver::~NetDriver()
{
    m_watch.stop();
}

int NetDriver::initialize()
try {
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (std::exchange(m_initialized, true))
            return kWrongState;
    }
    m_watch.start();
    return kDone;
} catch (const std::exception &error) {
    report(std::string("cannot look for cameras: ") + error.what());
    return kFailed;
}

int NetDriver::setDeviceStateCallback(DriverStateCallback callback, void *user)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_callback = callback;
    m_user = user;
    return kDone;
}

void NetDriver::tell(const CameraWatch::Change &change)
{
    DriverStateCallback callback = nullptr;
    void *user = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        callback = m_callback;
        user = m_user;
    }
    const NetIdentity &camera = change.camera;
    if (callback != nullptr) {
        callback(camera.uri().c_str(), camera.serial.c_str(), locationOf(camera).c_str(),
                 change.connected ? NUBRIX_DEVICE_CONNECTED : NUBRIX_DEVICE_DISCONNECTED, user);
    }
}

int NetDriver::getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count)
try {
    if (records == nullptr || count == nullptr)
        return kBadArgument;
    const unsigned int capacity = std::exchange(*count, 0U);
    for (const NetIdentity &camera : m_watch.cameras()) {
        if (*count == capacity)
            break;
        describe(camera, records[(*count)++]);
    }
    return kDone;
} catch (const std::exception &) {
    return kFailed;
}

int NetDriver::openDevice(const char *uri, NubrixBaseDevice **device)
try {
    if (uri == nullptr || device == nullptr)
        return kBadArgument;
    const std::string address = addressOf(uri);
    if (address.empty())
        return kBadArgument;
    std::unique_ptr<NetDevice> opened;
    if (const int status = NetDevice::open(address, m_settings, opened))
        return status;
    m_watch.watch(address, opened->state());
    const std::lock_guard<std::mutex> lock(m_lock);
    m_devices.push_back(std::move(opened));
    *device = m_devices.back().get();
    return kDone;
} catch (const std::exception &error) {
    report(std::string(uri) + " cannot be opened: " + error.what());
    return kFailed;
}

int NetDriver::closeDevice(NubrixBaseDevice **device)
{
    if (device == nullptr || *device == nullptr)
        return kBadArgument;
    std::unique_ptr<NetDevice> gone;  // stops its streams without the lock
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        const auto found = std::find_if(m_devices.begin(), m_devices.end(),
                                        [&](const auto &open) { return open.get() == *device; });
        if (found == m_devices.end())
            return kBadArgument;
        gone = std::move(*found);
        m_devices.erase(found);
    }
    *device = nullptr;
    return kDone;
}

}  // namespace nubrix
