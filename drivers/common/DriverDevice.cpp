#include "common/DriverDevice.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace nubrix {

DriverDevice::DriverDevice(const Reporter &reporter, std::string name)
    : m_reporter(reporter), m_name(std::move(name))
{
}

void DriverDevice::addStream(const ModeTable &modes, std::size_t first)
{
    if (m_slots.size() == kMaxStreams)
        throw std::length_error("a camera of too many streams");
    m_slots.push_back(std::make_unique<Slot>(Slot{&modes, 0, {}, nullptr}));
    if (!modes.records.empty())
        setCurrent(*m_slots.back(), first);
}

void DriverDevice::setCurrent(Slot &slot, std::size_t place)
{
    slot.current = place;
    // Written only when it changes: the application may be reading it, and a start sets the same
    // mode again.
    if (!isSame(slot.shown, slot.modes->records[place]))
        slot.shown = slot.modes->records[place];
}

DriverDevice::Slot *DriverDevice::slotOf(unsigned int streamType) const
{
    const auto slot = std::find_if(m_slots.begin(), m_slots.end(), [&](const auto &candidate) {
        return candidate->modes->streamType == streamType;
    });
    return slot == m_slots.end() ? nullptr : slot->get();
}

bool DriverDevice::hasModes(const Slot &slot) const
{
    if (!slot.modes->records.empty())
        return true;
    m_reporter.error(m_name + " has no " + streamName(slot.modes->streamType) + " stream");
    return false;
}

int DriverDevice::createStream(unsigned int streamType, NubrixBaseStream **stream)
try {
    Slot *slot = slotOf(streamType);
    if (slot == nullptr || stream == nullptr)
        return kBadArgument;
    if (!hasModes(*slot))
        return kUnsupported;
    if (isGone())
        return kGone;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!slot->stream) {
            slot->stream = newStream(streamType);
            *stream = slot->stream.get();
            return kDone;
        }
    }
    m_reporter.error(m_name + " has its " + streamName(streamType) + " stream open already");
    return kWrongState;
} catch (...) {
    reportFailure("creating a stream");
    return kFailed;
}

// Stopping a stream waits for its thread, which may take the lock: it is stopped without.

int DriverDevice::destroyStream(NubrixBaseStream **stream)
{
    if (stream == nullptr || *stream == nullptr)
        return kBadArgument;
    std::shared_ptr<DriverStream> removed;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        const auto slot = std::find_if(m_slots.begin(), m_slots.end(), [&](const auto &candidate) {
            return candidate->stream.get() == *stream;
        });
        if (slot == m_slots.end())
            return kBadArgument;
        removed = std::move((*slot)->stream);
    }
    removed->stop();
    *stream = nullptr;
    return kDone;
}

int DriverDevice::closeAllStreams()
{
    // All at once: none may be created in a slot that is empty while another one is being stopped.
    std::array<std::shared_ptr<DriverStream>, kMaxStreams> removed;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        for (std::size_t i = 0; i < m_slots.size(); ++i)
            removed[i] = std::move(m_slots[i]->stream);
    }
    for (const std::shared_ptr<DriverStream> &stream : removed) {
        if (stream)
            stream->stop();
    }
    return kDone;
}

int DriverDevice::setProperty(unsigned int id, const void *data, unsigned int size)
{
    if (id != NUBRIX_PROPERTY_STREAM_FLAG_MODE)
        return kUnsupported;
    unsigned int mode = 0;
    if (data == nullptr || size != sizeof mode)
        return kBadArgument;
    if (isGone())
        return kGone;
    std::memcpy(&mode, data, sizeof mode);
    if (mode < 1 || mode > 4)
        return kBadArgument;
    m_streamFlagMode = mode;
    return kDone;
}

int DriverDevice::getProperty(unsigned int id, void *data, unsigned int *size)
{
    if (data == nullptr || size == nullptr)
        return kBadArgument;
    if (isCounters(id))
        return getCounters(id - NUBRIX_PROPERTY_STREAM_COUNTERS, data, size);
    if (isGone())
        return kGone;
    if (id == NUBRIX_PROPERTY_VERSION) {
        const NubrixVersions record = versions();
        return copyProperty(&record, sizeof record, data, size);
    }
    if (id != NUBRIX_PROPERTY_STREAM_FLAG_MODE)
        return kUnsupported;
    const unsigned int mode = m_streamFlagMode;
    return copyProperty(&mode, sizeof mode, data, size);
}

int DriverDevice::getCounters(unsigned int streamType, void *data, unsigned int *size) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Slot &slot = *slotOf(streamType);
    const StreamCounters counters = slot.stream ? slot.stream->counters() : StreamCounters{};
    return copyProperty(&counters, sizeof counters, data, size);
}

int DriverDevice::deviceState()
{
    return isGone() ? NUBRIX_DEVICE_DISCONNECTED : NUBRIX_DEVICE_CONNECTED;
}

int DriverDevice::keepLiveState()
{
    if (isGone())
        return 0;
    int alive = 1;
    forEachStream([&](const DriverStream &stream) {
        if (!stream.isResponsive())
            alive = 0;
    });
    return alive;
}

int DriverDevice::getSupportFrameMode(unsigned int streamType, const typedefNubrixFrameMode **modes,
                                      unsigned int *count)
{
    const Slot *slot = slotOf(streamType);
    if (slot == nullptr || modes == nullptr || count == nullptr)
        return kBadArgument;
    *modes = slot->modes->records.data();
    *count = static_cast<unsigned int>(slot->modes->records.size());
    return kDone;
}

int DriverDevice::setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode,
                               bool /*restart*/)
try {
    Slot *slot = slotOf(streamType);
    if (slot == nullptr)
        return kBadArgument;
    if (!hasModes(*slot))
        return kUnsupported;
    if (isGone())
        return kGone;
    const std::size_t place = slot->modes->find(mode);
    if (place == slot->modes->records.size()) {
        m_reporter.error(m_name + " " + streamName(streamType) + ": " + slot->modes->refusal(mode));
        return kBadArgument;
    }
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!slot->stream || !slot->stream->isRunning()) {
            setCurrent(*slot, place);
            return kDone;
        }
    }
    m_reporter.error(m_name + " " + streamName(streamType) +
                     " runs: stop it before its mode is set");
    return kWrongState;
} catch (...) {
    reportFailure("setting a mode");
    return kFailed;
}

typedefNubrixFrameMode *DriverDevice::getCurrentFrameMode(unsigned int streamType)
{
    Slot *slot = slotOf(streamType);
    return slot == nullptr || slot->modes->records.empty() ? nullptr : &slot->shown;
}

typedefNubrixFrameMode DriverDevice::mode(unsigned int streamType) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Slot &slot = *slotOf(streamType);
    return slot.modes->records[slot.current];
}

}  // namespace nubrix
