#include "virtual/VirtualDevice.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <optional>
#include <utility>

#include "virtual/VirtualCamera.h"
#include "virtual/VirtualStream.h"
#include "virtual/VirtualUpgrade.h"

namespace nubrix::virtual_camera {

VirtualDevice::VirtualDevice(VirtualCamera &camera)
    : DriverDevice(kReporter, camera.uri()), m_camera(camera)
{
    const FrameSource &source = camera.source();
    for (const unsigned int streamType :
         {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR, NUBRIX_STREAM_LIGHT_IR}) {
        if (const ModeTable &modes = source.modes(streamType); !modes.records.empty())
            addStream(modes, source.defaultMode(streamType));
    }
}

VirtualDevice::~VirtualDevice()
{
    m_camera.detach(*this);
    closeAllStreams();
}

std::shared_ptr<DriverStream> VirtualDevice::newStream(unsigned int streamType)
{
    return std::make_shared<VirtualStream>(*this, streamType);
}

NubrixVersions VirtualDevice::versions() const
{
    const VirtualCamera::Version firmware = m_camera.firmware();
    NubrixVersions record = versionsWith(m_camera.serial());
    std::copy(firmware.begin(), firmware.end(), record.firmware);
    record.hardware[0] = 1;
    return record;
}

int VirtualDevice::setProperty(unsigned int id, const void *data, unsigned int size)
{
    if (isGone())
        return kGone;
    return isPlayPosition(id) ? seek(id, data, size) : DriverDevice::setProperty(id, data, size);
}

int VirtualDevice::getProperty(unsigned int id, void *data, unsigned int *size)
try {
    if (isCounters(id))
        return DriverDevice::getProperty(id, data, size);
    if (isGone())
        return kGone;
    if (data == nullptr || size == nullptr)
        return kBadArgument;
    if (id == kPropertyTruth)
        return getTruth(data, size);
    if (isPlayPosition(id))
        return getPlayPosition(id, data, size);
    if (id >= kPropertyIntrinsics && knows(id - kPropertyIntrinsics))
        return getIntrinsics(id - kPropertyIntrinsics, data, size);
    return DriverDevice::getProperty(id, data, size);
} catch (const std::exception &) {
    return kFailed;
}

int VirtualDevice::getIntrinsics(unsigned int streamType, void *data, unsigned int *size) const
{
    const auto known = m_camera.source().intrinsics(streamType, mode(streamType));
    return known ? copyProperty(&*known, sizeof *known, data, size) : kUnsupported;
}

int VirtualDevice::getTruth(void *data, unsigned int *size) const
{
    VirtualTruth truth;
    if (std::exchange(*size, sizeof truth) < sizeof truth)
        return kBadArgument;
    if (!knows(NUBRIX_STREAM_DEPTH))
        return kUnsupported;
    std::memcpy(&truth, data, sizeof truth);
    const typedefNubrixFrameMode depthMode = mode(NUBRIX_STREAM_DEPTH);
    if (truth.x >= depthMode.width || truth.y >= depthMode.height)
        return kBadArgument;
    const auto depth = m_camera.source().trueDepth(depthMode, truth.frameIndex, truth.x, truth.y);
    if (!depth)
        return kUnsupported;
    truth.depthMm = *depth;
    std::memcpy(data, &truth, sizeof truth);
    return kDone;
}

bool VirtualDevice::isPlayPosition(unsigned int id) const
{
    return m_camera.source().isRecorded() &&
           (id == kPropertyPlayTime || (id > kPropertyPlayFrame && knows(id - kPropertyPlayFrame)));
}

std::uint32_t VirtualDevice::nextFrame(unsigned int streamType) const
{
    std::optional<std::uint32_t> next;
    forEachStream([&](const DriverStream &stream) {
        if (stream.type() == streamType && stream.isRunning())
            next = static_cast<const VirtualStream &>(stream).nextFrame();
    });
    return next ? *next : m_camera.source().firstFrom(streamType, m_state->clock.place().us);
}

std::uint64_t VirtualDevice::playTime() const
{
    std::optional<std::uint64_t> earliest;
    forEachStream([&](const DriverStream &stream) {
        if (!stream.isRunning())
            return;
        const std::uint32_t frame = static_cast<const VirtualStream &>(stream).nextFrame();
        if (const auto next = m_camera.source().recorded(stream.type(), frame))
            earliest = earliest ? std::min(*earliest, next->us) : next->us;
    });
    return earliest ? *earliest : m_state->clock.place().us;
}

int VirtualDevice::getPlayPosition(unsigned int id, void *data, unsigned int *size) const
{
    if (id == kPropertyPlayTime) {
        const std::uint64_t us = playTime();
        return copyProperty(&us, sizeof us, data, size);
    }
    const std::uint32_t next = nextFrame(id - kPropertyPlayFrame);
    return copyProperty(&next, sizeof next, data, size);
}

int VirtualDevice::seek(unsigned int id, const void *data, unsigned int size)
{
    std::uint64_t us = 0;
    if (id == kPropertyPlayTime) {
        if (data == nullptr || size != sizeof us)
            return kBadArgument;
        std::memcpy(&us, data, sizeof us);
    } else {
        std::uint32_t frame = 0;
        if (data == nullptr || size != sizeof frame)
            return kBadArgument;
        std::memcpy(&frame, data, sizeof frame);
        const auto recorded = m_camera.source().recorded(id - kPropertyPlayFrame, frame);
        if (!recorded)
            return kBadArgument;
        us = recorded->us;
    }
    m_state->clock.seek(us);
    wakeStreams();
    return kDone;
}

void VirtualDevice::wakeStreams()
{
    forEachStream([](DriverStream &stream) { static_cast<VirtualStream &>(stream).wake(); });
}

NubrixBaseUpgrade *VirtualDevice::createUpgradeIntance()
try {
    return new VirtualUpgrade(m_camera);
} catch (const std::exception &) {
    return nullptr;
}

int VirtualDevice::keepLiveState()
{
    const auto now = m_camera.msAt(std::chrono::steady_clock::now());
    return !isGone() && m_camera.faults().answersKeepAlive(now) ? 1 : 0;
}

}  // namespace nubrix::virtual_camera
