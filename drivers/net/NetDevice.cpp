#include "net/NetDevice.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <thread>
#include <utility>

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
    if (const int status = awaitRelease(opened->name(), address, freeBy))
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
    : DriverDevice(kReporter, "net:" + address),
      m_address(address),
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
    DriverDevice::closeAllStreams();
    const auto now = CameraState::Clock::now();
    m_worker->retire(m_state->isUnresponsive() ? now : now + kReleaseTimeout);
}

void NetDevice::reportSlow() const
{
    kReporter.error(name() + " answers, but does not complete requests in time");
}

/// Aravis does not report why it could not read something. The channel knows whether the camera has
/// answered.
int NetDevice::reportConnectError(const Error &error)
{
    const ControlChannel &channel = m_worker->channel();
    if (!channel.hasFailed() && error)
        return reportError(name(), error);
    if (channel.isUnresponsive()) {
        kReporter.error(name() +
                        " does not answer: check its cable and its power, then open it again");
    } else {
        reportSlow();
    }
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
    for (const StreamModes &modes : m_modes)
        addStream(modes, modes.first);
    if (std::all_of(m_modes.begin(), m_modes.end(),
                    [](const auto &m) { return m.records.empty(); }))
        kReporter.error(name() + " has no pixel format that this driver knows: it has no streams");
    return kDone;
} catch (...) {
    reportFailure("opening a network camera");
    return kFailed;
}

int NetDevice::connectCamera()
{
    const ObjectPtr<GInetAddress> local(g_inet_address_new_from_string(m_local.c_str()));
    if (!local || !m_remote) {
        kReporter.error(name() + ": there is no route to it");
        return kGone;
    }
    ControlChannel &channel = m_worker->channel();
    Error error;
    const ObjectPtr<ArvDevice> device = makeDevice(channel, *local, *m_remote, error);
    if (!device && statusOf(error) == kWrongState) {
        kReporter.error(name() +
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

std::shared_ptr<DriverStream> NetDevice::newStream(unsigned int streamType)
{
    return std::make_shared<NetStream>(*this, streamType);
}

const StreamModes &NetDevice::modesOf(unsigned int streamType) const
{
    return *std::find_if(m_modes.begin(), m_modes.end(),
                         [&](const StreamModes &modes) { return modes.streamType == streamType; });
}

bool NetDevice::claimCamera(const NetStream &stream)
{
    const NetStream *none = nullptr;
    return m_claim.compare_exchange_strong(none, &stream);
}

void NetDevice::releaseCamera(const NetStream &stream)
{
    const NetStream *claim = &stream;
    m_claim.compare_exchange_strong(claim, nullptr);
}

StreamSetup NetDevice::setupOf(unsigned int streamType) const
{
    const StreamModes &modes = modesOf(streamType);
    StreamSetup setup = {};
    setup.name = name() + " " + streamName(streamType);
    setup.address = m_local;
    setup.sensor = m_sensor;
    setup.mode = mode(streamType);
    setup.format = *modes.format;
    setup.component = modes.component;
    setup.packetSize = m_settings.packetSize();
    setup.usesPacketSocket = m_settings.usesPacketSocket() && !isLocal(m_address, m_local);
    setup.streamType = streamType;
    setup.deliversIncomplete = m_incomplete != 0;
    return setup;
}

}  // namespace nubrix::net
