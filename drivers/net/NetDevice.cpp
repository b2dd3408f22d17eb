#include "net/NetDevice.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <thread>
#include <utility>

#include "common/CameraProperties.h"
#include "common/StreamSlots.h"
#include "common/ModeTable.h"
#include "net/Aravis.h"
#include "net/CameraSetup.h"
#include "net/NetSettings.h"

namespace nubrix::net {

namespace {

constexpr std::chrono::milliseconds kRetry{200};
/// The part of the timeout of opening that is reserved for connecting to the camera.
constexpr std::chrono::milliseconds kConnecting{400};

/// Reads "1.2.3" within any text.
void parseVersion(const char *text, unsigned short (&version)[3])
{
    if (text == nullptr)
        return;
    const char *digits = text + std::strcspn(text, "0123456789");
    unsigned int parts[3] = {0, 0, 0};
    if (std::sscanf(digits, "%5u.%5u.%5u", &parts[0], &parts[1], &parts[2]) < 1)
        return;
    std::transform(parts, parts + 3, version, [](unsigned int part) {
        return static_cast<unsigned short>(std::min(part, 0xffffU));
    });
}

/// Whether the camera is on this machine, so that its packets do not pass the interface.
bool isLocal(const std::string &address, const std::string &local)
{
    return address == local || address.compare(0, 4, "127.") == 0;
}

/// Waits while another application has the control. One that has died keeps it until its heartbeat
/// times out.
int awaitRelease(const std::string &name, const std::string &address,
                 CameraState::Clock::time_point deadline)
{
    const ControlState state = readControlState(address);
    if (state == ControlState::kNoAnswer) {
        kReporter.error(name + " does not answer: check its cable, its power and the address");
        return kGone;
    }
    if (state == ControlState::kFree)
        return kDone;
    while (!canTakeControl(address)) {
        if (CameraState::Clock::now() >= deadline) {
            const std::string owner = controllerOf(address);
            kReporter.error(name + " is controlled by " +
                            (owner.empty() ? "another application" : owner) +
                            ": close it there and open it again");
            return kWrongState;
        }
        std::this_thread::sleep_for(kRetry);
    }
    return kDone;
}

}  // namespace

int NetDevice::open(const std::string &address, CameraState::Clock::time_point begin,
                    const NetSettings &settings, CameraWorkers &workers,
                    std::unique_ptr<NetDevice> &device)
{
    const auto deadline = begin + kOpenTimeout;
    std::unique_ptr<NetDevice> opened(new NetDevice(address, settings, workers));
    const auto freeBy =
        std::min(CameraState::Clock::now() + settings.holderTimeout(), deadline - kConnecting);
    if (const int status = awaitRelease(opened->m_uri, address, freeBy))
        return status;
    auto connected =
        opened->m_worker->submit(deadline, [self = opened.get()] { return self->connect(); });
    if (connected.wait_until(deadline) != std::future_status::ready && opened->m_remote)
        invalidateAddress(*opened->m_remote);
    const int status = connected.get();  // the task uses the device, and ends after its deadline
    if (status == kDone)
        device = std::move(opened);
    return status;
}

NetDevice::NetDevice(const std::string &address, const NetSettings &settings,
                     CameraWorkers &workers)
    : m_address(address),
      m_uri("net:" + address),
      m_local(localAddressFor(address)),
      m_remote(g_inet_address_new_from_string(address.c_str())),
      m_settings(settings),
      m_state(std::make_shared<CameraState>()),
      m_incomplete(settings.deliversIncomplete() ? 1 : 0),
      m_worker(workers.start(address, m_state))
{
}

NetDevice::~NetDevice()
{
    NetDevice::closeAllStreams();
    const auto now = CameraState::Clock::now();
    m_worker->retire(m_state->isUnresponsive() ? now : now + kReleaseTimeout);
}

void NetDevice::reportSlow() const
{
    kReporter.error(m_uri + " answers, but does not complete requests in time");
}

/// Aravis does not report why it could not read something. The channel knows whether the camera has
/// answered.
int NetDevice::reportConnectError(const Error &error)
{
    const ControlChannel &channel = m_worker->channel();
    if (!channel.hasFailed() && error)
        return reportError(m_uri, error);
    if (channel.isUnresponsive())
        kReporter.error(m_uri +
                        " does not answer: check its cable and its power, then open it again");
    else
        reportSlow();
    return kGone;
}

int NetDevice::connect()
try {
    if (const int status = connectCamera())
        return status;
    readIdentity();
    m_modes = readModes(*camera(), m_settings, m_versions.serialNumber);
    if (m_worker->channel().hasFailed())
        return reportConnectError(Error());
    for (std::size_t i = 0; i < m_slots.size(); ++i) {
        if (!m_modes[i].records.empty())
            m_slots[i].handedOut = m_slots[i].current = m_modes[i].records[m_modes[i].first];
    }
    if (std::all_of(m_modes.begin(), m_modes.end(),
                    [](const auto &m) { return m.records.empty(); }))
        kReporter.error(m_uri + " has no pixel format that this driver knows: it has no streams");
    return kDone;
} catch (...) {
    reportFailure("opening a network camera");
    return kFailed;
}

int NetDevice::connectCamera()
{
    const ObjectPtr<GInetAddress> local(g_inet_address_new_from_string(m_local.c_str()));
    if (!local || !m_remote) {
        kReporter.error(m_uri + ": there is no route to it");
        return kGone;
    }
    ControlChannel &channel = m_worker->channel();
    Error error;
    const ObjectPtr<ArvDevice> device = makeDevice(channel, *local, *m_remote, error);
    if (!device && statusOf(error) == kWrongState) {
        kReporter.error(m_uri +
                        " is controlled by another application: close it there and open it again");
        return kWrongState;
    }
    if (!device)
        return reportConnectError(error);
    ObjectPtr<ArvCamera> camera(arv_camera_new_with_device(device.get(), error.out()));
    if (!camera)
        return reportConnectError(error);
    // It may still be sending because its last application has died or its cable was pulled.
    arv_camera_stop_acquisition(camera.get(), nullptr);
    arv_camera_set_range_check_policy(camera.get(), ARV_RANGE_CHECK_POLICY_ENABLE);
    arv_camera_set_access_check_policy(camera.get(), ARV_ACCESS_CHECK_POLICY_ENABLE);
    m_worker->setCamera(std::move(camera));
    return kDone;
}

void NetDevice::readIdentity()
{
    ArvCamera *camera = this->camera();
    const auto read = [&](const char *feature) -> const char * {
        const bool has = arv_camera_is_feature_available(camera, feature, nullptr) != FALSE;
        return has ? arv_camera_get_string(camera, feature, nullptr) : nullptr;
    };
    const char *serial = arv_camera_get_device_serial_number(camera, nullptr);
    m_versions = versionsWith(serial == nullptr ? "" : serial);
    parseVersion(read("DeviceFirmwareVersion"), m_versions.firmware);
    parseVersion(read("DeviceVersion"), m_versions.hardware);
    m_sensor = readSensor(*camera);
}

// --- streams

int NetDevice::slotNumber(unsigned int streamType) const
{
    const auto found = std::find_if(m_modes.begin(), m_modes.end(), [&](const StreamModes &modes) {
        return modes.streamType == streamType;
    });
    return found == m_modes.end() ? -1 : static_cast<int>(found - m_modes.begin());
}

int NetDevice::createStream(unsigned int streamType, NubrixBaseStream **stream)
try {
    const int number = slotNumber(streamType);
    if (number < 0 || stream == nullptr)
        return kBadArgument;
    const auto place = static_cast<std::size_t>(number);
    if (m_modes[place].records.empty()) {
        kReporter.error(m_uri + " has no " + streamName(streamType) + " stream");
        return kUnsupported;
    }
    if (m_state->isGone())
        return kGone;
    const std::lock_guard<std::mutex> lock(m_lock);
    Slot &slot = m_slots[place];
    if (slot.stream)
        return kWrongState;
    slot.stream = std::make_unique<NetStream>(*this, streamType);
    *stream = slot.stream.get();
    return kDone;
} catch (...) {
    reportFailure("making a stream of a network camera");
    return kFailed;
}

int NetDevice::destroyStream(NubrixBaseStream **stream)
{
    return destroyStreamIn(m_slots, m_lock, stream);
}

int NetDevice::closeAllStreams()
{
    return closeStreamsIn(m_slots, m_lock);
}

bool NetDevice::claimCamera(const NetStream &stream)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_claim != nullptr)
        return false;
    m_claim = &stream;
    return true;
}

void NetDevice::releaseCamera(const NetStream &stream)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_claim == &stream)
        m_claim = nullptr;
}

typedefNubrixFrameMode NetDevice::modeOf(unsigned int streamType) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_slots[static_cast<std::size_t>(slotNumber(streamType))].current;
}

StreamSetup NetDevice::setupOf(unsigned int streamType) const
{
    const StreamModes &modes = m_modes[static_cast<std::size_t>(slotNumber(streamType))];
    StreamSetup setup = {};
    setup.name = m_uri + " " + streamName(streamType);
    setup.address = m_local;
    setup.sensor = m_sensor;
    setup.mode = modeOf(streamType);
    setup.format = *modes.format;
    setup.component = modes.component;
    setup.packetSize = m_settings.packetSize();
    setup.usesPacketSocket = m_settings.usesPacketSocket() && !isLocal(m_address, m_local);
    setup.streamType = streamType;
    setup.deliversIncomplete = m_incomplete != 0;
    return setup;
}

// --- modes

int NetDevice::getSupportFrameMode(unsigned int streamType, const typedefNubrixFrameMode **modes,
                                   unsigned int *count)
{
    const int number = slotNumber(streamType);
    if (number < 0 || modes == nullptr || count == nullptr)
        return kBadArgument;
    const auto &records = m_modes[static_cast<std::size_t>(number)].records;
    *modes = records.data();
    *count = static_cast<unsigned int>(records.size());
    return kDone;
}

int NetDevice::setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode,
                            bool /*restart*/)
try {
    const int number = slotNumber(streamType);
    if (number < 0)
        return kBadArgument;
    const StreamModes &modes = m_modes[static_cast<std::size_t>(number)];
    if (modes.records.empty()) {
        kReporter.error(m_uri + " has no " + streamName(streamType) + " stream");
        return kUnsupported;
    }
    if (m_state->isGone())
        return kGone;
    if (modes.find(mode) == modes.records.size()) {
        kReporter.error(m_uri + " " + streamName(streamType) + ": " + modes.refusal(mode));
        return kBadArgument;
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    Slot &slot = m_slots[static_cast<std::size_t>(number)];
    if (slot.stream && slot.stream->isRunning())
        return kWrongState;
    slot.current = mode;
    // Written only when it changes: the application may be reading it while a start sets the same
    // mode.
    if (!isSame(slot.handedOut, mode))
        slot.handedOut = mode;
    return kDone;
} catch (const std::exception &) {
    return kFailed;
}

typedefNubrixFrameMode *NetDevice::getCurrentFrameMode(unsigned int streamType)
{
    const int number = slotNumber(streamType);
    if (number < 0 || m_modes[static_cast<std::size_t>(number)].records.empty())
        return nullptr;
    return &m_slots[static_cast<std::size_t>(number)].handedOut;
}

int NetDevice::deviceState()
{
    return m_state->isGone() ? NUBRIX_DEVICE_DISCONNECTED : NUBRIX_DEVICE_CONNECTED;
}

int NetDevice::keepLiveState()
{
    if (m_state->isGone())
        return 0;
    const std::lock_guard<std::mutex> lock(m_lock);
    const bool hasTimedOut = std::any_of(m_slots.begin(), m_slots.end(), [](const Slot &slot) {
        return slot.stream && slot.stream->hasTimedOut();
    });
    return hasTimedOut ? 0 : 1;
}

}  // namespace nubrix::net
