#include "tests/fakes/FakeDriver.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <utility>

#include "tests/fakes/FakeStream.h"

namespace nubrix {

namespace {

template <std::size_t Size>
void assign(char (&field)[Size], const std::string &text)
{
    std::snprintf(field, Size, "%s", text.c_str());
}

std::optional<std::string> keep(const char *text)
{
    return text ? std::optional<std::string>(text) : std::nullopt;
}

const char *given(const std::optional<std::string> &text)
{
    return text ? text->c_str() : nullptr;
}

std::string orNull(const char *text)
{
    return text ? text : "(null)";
}

}  // namespace

typedefNubrixeviceAttribute cameraRecord(const std::string &uri, int transport,
                                         const std::string &serial, const std::string &location)
{
    typedefNubrixeviceAttribute record = {};
    record.vendorId = 0x1209;
    record.productId = 1;
    record.transport = transport;
    assign(record.serialNumber, serial);
    assign(record.uri, uri);
    assign(record.location, location);
    assign(record.productName, "Fake Camera");
    return record;
}

FakeDriver::FakeDriver() = default;

FakeDriver::~FakeDriver()
{
    shutDown();
}

// --- settings

void FakeDriver::setDevices(std::vector<typedefNubrixeviceAttribute> records)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_records = std::move(records);
}

void FakeDriver::setDeviceId(const std::string &id)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_deviceId = id;
}

void FakeDriver::setModes(std::vector<typedefNubrixFrameMode> modes)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_modes = std::move(modes);
}

void FakeDriver::setCurrentMode(const typedefNubrixFrameMode &mode)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    for (const unsigned int type : {1U, 2U, 4U, 32U})
        m_currentModes[type] = mode;
}

void FakeDriver::setPropertyValue(unsigned int id, std::vector<unsigned char> value)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_properties[id] = std::move(value);
}

void FakeDriver::setHook(std::function<void(const std::string &)> hook)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_hook = std::move(hook);
}

// --- the calls it got

std::vector<std::string> FakeDriver::calls() const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_calls;
}

std::vector<std::string> FakeDriver::takeCalls()
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return std::exchange(m_calls, {});
}

std::size_t FakeDriver::countCalls(const std::string &call) const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    return static_cast<std::size_t>(std::count(m_calls.begin(), m_calls.end(), call));
}

void FakeDriver::record(const std::string &call)
{
    std::function<void(const std::string &)> hook;
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        m_calls.push_back(call);
        hook = m_hook;
    }
    if (hook)
        hook(call);
}

// --- what it does on demand

FakeDevice *FakeDriver::device(const std::string &uri) const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    for (const auto &device : m_devices) {
        if (uri.empty() || device->m_id == uri)
            return device.get();
    }
    return nullptr;
}

std::shared_ptr<FakeStream> FakeDriver::findStream(const std::string *uri,
                                                   unsigned int streamType) const
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    for (const auto &device : m_devices) {
        if (uri && device->m_id != *uri)
            continue;
        for (const auto &stream : device->m_streams) {
            if (stream->type() == streamType && stream->running())
                return stream;
        }
    }
    return nullptr;
}

bool FakeDriver::deliver(unsigned int streamType, const FakeFrame &frame)
{
    const std::shared_ptr<FakeStream> stream = findStream(nullptr, streamType);
    return stream && stream->deliver(frame);
}

bool FakeDriver::deliver(const std::string &uri, unsigned int streamType, const FakeFrame &frame)
{
    const std::shared_ptr<FakeStream> stream = findStream(&uri, streamType);
    return stream && stream->deliver(frame);
}

void FakeDriver::raise(const char *deviceAddr, const char *serial, const char *location,
                       unsigned int state)
{
    DriverStateCallback callback = nullptr;
    void *user = nullptr;
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        callback = m_stateCallback;
        user = m_stateUser;
    }
    if (callback)
        callback(deviceAddr, serial, location, state, user);
}

void FakeDriver::announce(const char *deviceAddr, const char *serial, const char *location,
                          unsigned int state)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_events.push_back({keep(deviceAddr), keep(serial), keep(location), state});
    m_eventsChanged.notify_all();
    if (!m_eventThread.joinable())
        m_eventThread = std::thread(&FakeDriver::handleEvents, this);
}

void FakeDriver::handleEvents()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_eventsChanged.wait(lock, [this] { return m_ending || !m_events.empty(); });
        if (m_events.empty())
            return;
        const Event event = std::move(m_events.front());
        m_events.pop_front();
        m_handlingEvent = true;
        lock.unlock();
        raise(given(event.deviceAddr), given(event.serial), given(event.location), event.state);
        lock.lock();
        m_handlingEvent = false;
        m_eventsChanged.notify_all();
    }
}

bool FakeDriver::waitForAnnouncements()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_eventsChanged.wait_for(lock, std::chrono::seconds(20),
                                    [this] { return m_events.empty() && !m_handlingEvent; });
}

void FakeDriver::shutDown()
{
    std::vector<std::unique_ptr<FakeDevice>> devices;
    std::unique_lock<std::mutex> lock(m_mutex);
    m_ending = true;
    m_eventsChanged.notify_all();
    // Another thread may announce an event meanwhile.
    while (m_eventThread.joinable()) {
        std::thread thread = std::move(m_eventThread);
        lock.unlock();
        thread.join();
        lock.lock();
    }
    m_events.clear();
    m_eventsChanged.notify_all();
    devices.swap(m_devices);
    m_stateCallback = nullptr;
    m_ending = false;
}

// --- NubrixBaseDriver

int FakeDriver::initialize()
{
    record("initialize");
    return results.initialize;
}

int FakeDriver::uninitialize()
{
    record("uninitialize");
    return 0;
}

int FakeDriver::setDeviceStateCallback(DriverStateCallback callback, void *user)
{
    record("setDeviceStateCallback");
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_stateCallback = callback;
    m_stateUser = user;
    return 0;
}

int FakeDriver::getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count)
{
    record("getDeviceList " + std::to_string(*count));
    if (leavesCount)
        return results.getDeviceList;
    const std::lock_guard<std::mutex> guard(m_mutex);
    std::copy(m_records.begin(), m_records.end(), records);
    *count = static_cast<unsigned int>(m_records.size());
    return results.getDeviceList;
}

void FakeDriver::setGmslPaths(std::vector<std::string> paths)
{
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_gmslPaths = std::move(paths);
}

int FakeDriver::getGmslDeviceList(_NubrixGmslDeviceInfo *records, unsigned int *count)
{
    record("getGmslDeviceList " + std::to_string(*count));
    const std::lock_guard<std::mutex> guard(m_mutex);
    for (std::size_t i = 0; i < m_gmslPaths.size(); ++i) {
        records[i] = {};
        m_gmslPaths[i].copy(records[i].devicePath, sizeof(records[i].devicePath) - 1);
    }
    *count = static_cast<unsigned int>(m_gmslPaths.size());
    return results.getDeviceList;
}

int FakeDriver::setUpgradeStatus(bool on)
{
    record("setUpgradeStatus " + std::to_string(on));
    return 0;
}

int FakeDriver::setGmslI2CStats(bool on)
{
    record("setGmslI2CStats " + std::to_string(on));
    return 0;
}

int FakeDriver::setGmslI2CAddress(std::string address)
{
    record("setGmslI2CAddress " + address);
    return 0;
}

int FakeDriver::openDevice(const char *uri, NubrixBaseDevice **device)
{
    record("openDevice " + orNull(uri));
    if (const int failed = results.openDevice)
        return failed;
    if (!givesNullDevice)
        *device = addDevice(uri);
    return 0;
}

int FakeDriver::openDeviceByFd(unsigned int vid, unsigned int pid, int fd, const char *path,
                               NubrixBaseDevice **device)
{
    if (!opensByFd)
        return NubrixBaseDriver::openDeviceByFd(vid, pid, fd, path, device);
    char ids[16];
    std::snprintf(ids, sizeof(ids), "%04x:%04x", vid & 0xffffU, pid & 0xffffU);
    record(std::string("openDeviceByFd ") + ids + " fd " + std::to_string(fd) + " " + orNull(path));
    if (const int failed = results.openDeviceByFd)
        return failed;
    if (!givesNullDevice) {
        std::unique_lock<std::mutex> lock(m_mutex);
        const std::string id = m_deviceId;
        lock.unlock();
        *device = addDevice(id);
    }
    return 0;
}

NubrixBaseDevice *FakeDriver::addDevice(const std::string &id)
{
    auto device = std::make_unique<FakeDevice>(*this, id);
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_devices.push_back(std::move(device));
    return m_devices.back().get();
}

int FakeDriver::closeDevice(NubrixBaseDevice **device)
{
    auto *const closing = static_cast<FakeDevice *>(*device);
    record("closeDevice " + closing->m_id);
    std::unique_ptr<FakeDevice> last;
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        const auto found = std::find_if(m_devices.begin(), m_devices.end(),
                                        [&](const auto &each) { return each.get() == closing; });
        if (found == m_devices.end())
            return -3;
        last = std::move(*found);
        m_devices.erase(found);
    }
    *device = nullptr;
    return results.closeDevice;
}

}  // namespace nubrix
