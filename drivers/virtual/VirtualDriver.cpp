#include "virtual/VirtualDriver.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <utility>
#include <variant>

#include "virtual/ImageSource.h"
#include "virtual/RecordingSource.h"
#include "virtual/SceneSource.h"

namespace nubrix::virtual_camera {

namespace {

/// Creates the source, or returns why the scenario's source cannot be used.
std::variant<std::shared_ptr<FrameSource>, ScenarioError> makeSource(const Scenario &scenario)
{
    const auto widen = [](auto made) -> std::variant<std::shared_ptr<FrameSource>, ScenarioError> {
        if (const auto *error = std::get_if<ScenarioError>(&made))
            return *error;
        return std::get<0>(made);
    };
    if (scenario.images)
        return widen(ImageSource::create(*scenario.images, scenario.frameRate));
    if (scenario.recording)
        return widen(RecordingSource::create(*scenario.recording));
    return std::make_shared<SceneSource>(scenario.frameRate);
}

}  // namespace

VirtualDriver::~VirtualDriver()
{
    m_devices.clear();
    for (const auto &camera : m_cameras)
        camera->abortUpgrades();
    m_threads.joinAll();  // they may still post to the hot-plug thread
    m_hotPlug.stop();
}

int VirtualDriver::initialize()
try {
    const char *file = std::getenv("NUBRIX_VIRTUAL_SCENARIO");
    if (file == nullptr || *file == '\0')
        return initializeWith(Scenario(), "");
    const auto read = readScenarioFile(file);
    if (const auto *error = std::get_if<ScenarioError>(&read)) {
        kReporter.error(error->text(file));
        return kBadArgument;
    }
    return initializeWith(std::get<Scenario>(read), file);
} catch (...) {
    reportFailure("initialize of the virtual cameras");
    return kFailed;
}

int VirtualDriver::initializeWith(const Scenario &scenario, const std::string &file)
try {
    if (m_initialized)
        return kWrongState;
    const auto made = makeSource(scenario);
    if (const auto *error = std::get_if<ScenarioError>(&made)) {
        kReporter.error(error->text(file));
        return kBadArgument;
    }
    const auto &source = std::get<std::shared_ptr<FrameSource>>(made);
    m_initialized = true;
    const HotPlug::Time start = std::chrono::steady_clock::now();
    const VirtualCamera::Shared shared = {scenario.pacing, start, source, m_hotPlug, m_threads};
    unsigned int ordinal = 0;
    for (const CameraSetup &setup : scenario.cameras) {
        m_cameras.push_back(std::make_unique<VirtualCamera>(setup, ++ordinal, shared));
        scheduleFaults(*m_cameras.back(), start);
    }
    m_hotPlug.start();
    return kDone;
} catch (...) {
    reportFailure("initialize of the virtual cameras");
    return kFailed;
}

int VirtualDriver::setDeviceStateCallback(DriverStateCallback callback, void *user)
{
    m_hotPlug.callback().set(callback, user);
    return kDone;
}

int VirtualDriver::getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count)
{
    const auto plugged = [this] {
        std::vector<const VirtualCamera *> cameras;
        for (const auto &camera : m_cameras) {
            if (camera->isPlugged())
                cameras.push_back(camera.get());
        }
        return cameras;
    };
    const auto describe = [](const VirtualCamera *camera, typedefNubrixeviceAttribute &record) {
        camera->describe(record);
    };
    return listRecords(plugged, describe, records, count);
}

int VirtualDriver::openDevice(const char *uri, NubrixBaseDevice **device)
{
    VirtualCamera *camera = uri == nullptr ? nullptr : find(uri);
    return camera == nullptr || device == nullptr ? kBadArgument : open(*camera, device);
}

int VirtualDriver::openDeviceByFd(unsigned int vid, unsigned int pid, int /*fd*/, const char *path,
                                  NubrixBaseDevice **device)
{
    if (vid != VirtualCamera::kVendorId || pid != VirtualCamera::kProductId || device == nullptr)
        return kBadArgument;
    const char *start = VirtualCamera::kUriStart;
    if (path != nullptr && std::strncmp(path, start, std::strlen(start)) == 0)
        return openDevice(path, device);
    const auto free = std::find_if(m_cameras.begin(), m_cameras.end(),
                                   [](const auto &camera) { return camera->isFree(); });
    return free == m_cameras.end() ? kBadArgument : open(**free, device);
}

int VirtualDriver::closeDevice(NubrixBaseDevice **device)
{
    const int status = m_devices.close(device);
    m_threads.joinDone();
    return status;
}

VirtualCamera *VirtualDriver::find(const char *uri)
{
    const auto found = std::find_if(m_cameras.begin(), m_cameras.end(),
                                    [&](const auto &camera) { return camera->uri() == uri; });
    return found == m_cameras.end() ? nullptr : found->get();
}

int VirtualDriver::open(VirtualCamera &camera, NubrixBaseDevice **device)
try {
    std::unique_ptr<VirtualDevice> opened;
    if (const int status = camera.open(opened))
        return status;
    return m_devices.keep(std::move(opened), device);
} catch (...) {
    reportFailure("opening a virtual camera");
    return kFailed;
}

void VirtualDriver::scheduleFaults(VirtualCamera &camera, HotPlug::Time start)
{
    for (const Fault &fault : camera.faults().faults()) {
        if (!fault.atMs)
            continue;
        const HotPlug::Time when = start + std::chrono::milliseconds(*fault.atMs);
        if (fault.type == FaultType::kUnplug)
            m_hotPlug.schedule(when, camera, HotPlug::Action::kUnplug);
        else if (fault.type == FaultType::kPlug)
            m_hotPlug.schedule(when, camera, HotPlug::Action::kPlug);
    }
}

}  // namespace nubrix::virtual_camera
