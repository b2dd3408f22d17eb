#include "virtual/VirtualDevice.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "common/ModeTable.h"
#include "common/Property.h"
#include "common/Report.h"
#include "common/StreamSlots.h"
#include "common/Versions.h"
#include "virtual/VirtualCamera.h"
#include "virtual/VirtualProperties.h"
#include "virtual/VirtualStream.h"
#include "virtual/VirtualUpgrade.h"

namespace nubrix {

namespace {

NubrixVersions versionsOf(const VirtualCamera &camera)
{
    const VirtualCamera::Version firmware = camera.firmware();
    NubrixVersions versions = versionsWith(camera.serial());
    std::copy(firmware.begin(), firmware.end(), versions.firmware);
    versions.hardware[0] = 1;
    return versions;
}

}  // namespace

VirtualDevice::VirtualDevice(VirtualCamera &camera)
    : m_camera(camera),
      m_slots{{{NUBRIX_STREAM_COLOR, {}, {}, nullptr},
               {NUBRIX_STREAM_DEPTH, {}, {}, nullptr},
               {NUBRIX_STREAM_IR, {}, {}, nullptr},
               {NUBRIX_STREAM_LIGHT_IR, {}, {}, nullptr}}}
{
    const FrameSource &source = camera.source();
    for (Slot &slot : m_slots) {
        if (const auto &modes = source.modes(slot.type); !modes.empty())
            slot.shown = slot.mode = modes[source.defaultMode(slot.type)];
    }
}

VirtualDevice::~VirtualDevice()
{
    m_camera.detach(*this);
    VirtualDevice::closeAllStreams();
}

int VirtualDevice::createStream(unsigned int streamType, NubrixBaseStream **stream)
{
    Slot *slot = slotOf(streamType);
    if (slot == nullptr || stream == nullptr)
        return kBadArgument;
    if (isGone())
        return kGone;
    const std::lock_guard<std::mutex> lock(m_lock);
    if (slot->stream)
        return kWrongState;
    slot->stream.reset(new (std::nothrow) VirtualStream(*this, streamType));
    if (!slot->stream)
        return kFailed;
    *stream = slot->stream.get();
    return kDone;
}

int VirtualDevice::destroyStream(NubrixBaseStream **stream)
{
    return destroyStreamIn(m_slots, m_lock, stream);
}

int VirtualDevice::closeAllStreams()
{
    return closeStreamsIn(m_slots, m_lock);
}

int VirtualDevice::setProperty(unsigned int id, const void *data, unsigned int size)
{
    if (isGone())
        return kGone;
    if (isPlace(id))
        return seek(id, data, size);
    if (id != NUBRIX_PROPERTY_STREAM_FLAG_MODE)
        return kUnsupported;
    unsigned int mode = 0;
    if (data == nullptr || size != sizeof mode)
        return kBadArgument;
    std::memcpy(&mode, data, sizeof mode);
    if (mode < 1 || mode > 4)
        return kBadArgument;
    m_streamFlagMode = mode;
    return kDone;
}

int VirtualDevice::getProperty(unsigned int id, void *data, unsigned int *size)
try {
    if (isGone())
        return kGone;
    if (data == nullptr || size == nullptr)
        return kBadArgument;
    if (id == NUBRIX_PROPERTY_VERSION) {
        const NubrixVersions versions = versionsOf(m_camera);
        return giveOut(&versions, sizeof versions, data, size);
    }
    if (id == NUBRIX_PROPERTY_STREAM_FLAG_MODE) {
        const unsigned int mode = m_streamFlagMode;
        return giveOut(&mode, sizeof mode, data, size);
    }
    if (id == kPropertyTruth) {
        const unsigned int room = std::exchange(*size, sizeof(VirtualTruth));
        return room < sizeof(VirtualTruth) ? kBadArgument : getTruth(data);
    }
    if (isPlace(id))
        return getPlace(id, data, size);
    if (id < kPropertyIntrinsics || slotOf(id - kPropertyIntrinsics) == nullptr)
        return kUnsupported;
    const unsigned int streamType = id - kPropertyIntrinsics;
    const auto known = m_camera.source().intrinsics(streamType, mode(streamType));
    if (!known)
        return kUnsupported;
    const CameraIntrinsics intrinsics = {known->fx, known->fy, known->cx, known->cy};
    return giveOut(&intrinsics, sizeof intrinsics, data, size);
} catch (const std::exception &) {
    return kFailed;
}

int VirtualDevice::getTruth(void *data)
{
    VirtualTruth truth;
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

bool VirtualDevice::isPlace(unsigned int id) const
{
    return m_camera.source().isRecorded() &&
           (id == kPropertyPlayTime ||
            (id > kPropertyPlayFrame && slotOf(id - kPropertyPlayFrame) != nullptr));
}

std::uint32_t VirtualDevice::nextFrame(const Slot &slot) const
{
    if (slot.stream && slot.stream->isRunning())
        return slot.stream->nextFrame();
    return m_camera.source().firstFrom(slot.type, m_state->clock.place().us);
}

int VirtualDevice::getPlace(unsigned int id, void *data, unsigned int *size)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (id != kPropertyPlayTime) {
        const std::uint32_t next = nextFrame(*slotOf(id - kPropertyPlayFrame));
        return giveOut(&next, sizeof next, data, size);
    }
    std::uint64_t us = m_state->clock.place().us;
    bool first = true;
    for (const Slot &slot : m_slots) {
        if (!slot.stream || !slot.stream->isRunning())
            continue;
        if (const auto next = m_camera.source().recorded(slot.type, slot.stream->nextFrame())) {
            us = first ? next->us : std::min(us, next->us);
            first = false;
        }
    }
    return giveOut(&us, sizeof us, data, size);
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
    const std::lock_guard<std::mutex> lock(m_lock);
    for (const Slot &slot : m_slots) {
        if (slot.stream)
            slot.stream->wake();
    }
}

NubrixBaseUpgrade *VirtualDevice::createUpgradeIntance()
try {
    return new VirtualUpgrade(m_camera);
} catch (const std::exception &) {
    return nullptr;
}

int VirtualDevice::deviceState()
{
    return isGone() ? NUBRIX_DEVICE_DISCONNECTED : NUBRIX_DEVICE_CONNECTED;
}

int VirtualDevice::keepLiveState()
{
    const auto now = m_camera.msAt(std::chrono::steady_clock::now());
    return !isGone() && m_camera.faults().keepsAlive(now) ? 1 : 0;
}

int VirtualDevice::getSupportFrameMode(unsigned int streamType,
                                       const typedefNubrixFrameMode **modes, unsigned int *count)
{
    if (slotOf(streamType) == nullptr || modes == nullptr || count == nullptr)
        return kBadArgument;
    const auto &table = m_camera.source().modes(streamType);
    *modes = table.data();
    *count = static_cast<unsigned int>(table.size());
    return kDone;
}

int VirtualDevice::setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode,
                                bool /*restart*/)
{
    Slot *slot = slotOf(streamType);
    if (slot == nullptr)
        return kBadArgument;
    if (isGone())
        return kGone;
    const auto &table = m_camera.source().modes(streamType);
    if (std::none_of(table.begin(), table.end(),
                     [&](const typedefNubrixFrameMode &entry) { return isSame(entry, mode); }))
        return kBadArgument;
    const std::lock_guard<std::mutex> lock(m_lock);
    if (slot->stream && slot->stream->isRunning())
        return kWrongState;
    slot->mode = mode;
    // Not written for nothing: whoever has it may be reading it, and a start sets the same mode.
    if (!isSame(slot->shown, mode))
        slot->shown = mode;
    return kDone;
}

typedefNubrixFrameMode *VirtualDevice::getCurrentFrameMode(unsigned int streamType)
{
    Slot *slot = slotOf(streamType);
    return slot == nullptr ? nullptr : &slot->shown;
}

const char *VirtualDevice::getDeviceId()
{
    return m_camera.uri().c_str();
}

typedefNubrixFrameMode VirtualDevice::mode(unsigned int streamType) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return slotOf(streamType)->mode;
}

VirtualDevice::Slot *VirtualDevice::slotOf(unsigned int streamType)
{
    return const_cast<Slot *>(std::as_const(*this).slotOf(streamType));
}

const VirtualDevice::Slot *VirtualDevice::slotOf(unsigned int streamType) const
{
    const auto slot = std::find_if(m_slots.begin(), m_slots.end(), [&](const Slot &candidate) {
        return candidate.type == streamType;
    });
    if (slot == m_slots.end() || m_camera.source().modes(streamType).empty())
        return nullptr;
    return &*slot;
}

}  // namespace nubrix
