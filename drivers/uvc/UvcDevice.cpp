#include "uvc/UvcDevice.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "common/ModeTable.h"
#include "common/Property.h"
#include "common/StreamSlots.h"
#include "common/Versions.h"
#include "uvc/CallDeadline.h"
#include "uvc/NodeControls.h"
#include "uvc/NodeFormats.h"
#include "uvc/NodeWorker.h"
#include "uvc/Report.h"

namespace nubrix {

namespace {

unsigned short decimalOf(unsigned int bcd)
{
    return static_cast<unsigned short>((bcd >> 4U & 0xfU) * 10 + (bcd & 0xfU));
}

NubrixVersions versionsOf(const UsbIdentity &usb)
{
    const unsigned int release = usb.release;
    NubrixVersions versions = versionsWith(usb.serial);
    versions.firmware[0] = decimalOf(release >> 8U);
    versions.firmware[1] = static_cast<unsigned short>(release >> 4U & 0xfU);
    versions.firmware[2] = static_cast<unsigned short>(release & 0xfU);
    return versions;
}

bool givesPictures(NodeIo &node)
{
    constexpr std::uint32_t kNeeded = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
    const auto can = readCapabilities(node);
    return can && (*can & kNeeded) == kNeeded;
}

std::vector<NodeIo *> iosOf(const std::vector<std::unique_ptr<NodeIo>> &nodes)
{
    std::vector<NodeIo *> ios;
    ios.reserve(nodes.size());
    for (const auto &node : nodes)
        ios.push_back(node.get());
    return ios;
}

}  // namespace

int UvcDevice::open(const std::string &name, const UsbIdentity &usb,
                    const std::vector<std::string> &paths, const NodeOpener &opener,
                    DriverThreads &threads, std::unique_ptr<UvcDevice> &device)
{
    std::vector<Node> nodes;
    for (const std::string &path : paths) {
        Node node;
        const auto opening = [opener, path](std::unique_ptr<NodeIo> &io) {
            return opener(path, io);
        };
        if (const int error = NodeWorker::open(name, opening, threads, node)) {
            reportError(error, name);
            return statusOf(error);
        }
        nodes.push_back(std::move(node));
    }
    return openNodes(name, usb, std::move(nodes), threads, device);
}

int UvcDevice::openNodes(const std::string &name, const UsbIdentity &usb, std::vector<Node> nodes,
                         DriverThreads &threads, std::unique_ptr<UvcDevice> &device)
{
    nodes.erase(std::remove_if(nodes.begin(), nodes.end(),
                               [](const Node &node) { return !givesPictures(*node); }),
                nodes.end());
    if (nodes.empty()) {
        report(name + " gives no pictures that can be streamed: it is no camera, or gone");
        return kUnsupported;
    }
    device.reset(new UvcDevice(name, usb, std::move(nodes), threads));
    const auto &modes = device->m_modes;
    if (std::all_of(modes.begin(), modes.end(), [](const auto &m) { return m.records.empty(); })) {
        report(name +
               " has no pixel format that is known here, at a size and rate that can be "
               "told: it has no streams");
    }
    return kDone;
}

UvcDevice::UvcDevice(const std::string &name, const UsbIdentity &usb, std::vector<Node> nodes,
                     DriverThreads &threads)
    : m_name(name),
      m_usb(usb),
      m_nodes(std::move(nodes)),
      m_ios(iosOf(m_nodes)),
      m_modes(readModes(m_ios)),
      m_threads(threads),
      m_claims(m_nodes.size(), nullptr)
{
    for (std::size_t i = 0; i < m_slots.size(); ++i) {
        const StreamModes &modes = m_modes[i];
        m_slots[i].modes = &modes;
        if (!modes.records.empty())
            setCurrent(m_slots[i], modes.defaultMode());
    }
}

UvcDevice::~UvcDevice()
{
    UvcDevice::closeAllStreams();
}

int UvcDevice::createStream(unsigned int streamType, NubrixBaseStream **stream)
try {
    const CallDeadline deadline;
    Slot *slot = slotOf(streamType);
    if (slot == nullptr || stream == nullptr)
        return kBadArgument;
    if (slot->modes->records.empty()) {
        report(m_name + " has no " + streamName(streamType) + " stream");
        return kUnsupported;
    }
    if (isGone())
        return kGone;
    const std::lock_guard<std::mutex> lock(m_lock);
    if (slot->stream) {
        report(m_name + " has its " + streamName(streamType) + " stream open already");
        return kWrongState;
    }
    slot->stream = std::make_shared<UvcStream>(*this, streamType, m_threads);
    *stream = slot->stream.get();
    return kDone;
} catch (...) {
    reportFailure("making a stream of a USB camera");
    return kFailed;
}

int UvcDevice::destroyStream(NubrixBaseStream **stream)
{
    const CallDeadline deadline;
    return destroyStreamIn(m_slots, m_lock, stream);
}

int UvcDevice::closeAllStreams()
{
    const CallDeadline deadline;
    const int status = closeStreamsIn(m_slots, m_lock);
    CallDeadline::suspendFor([this] { m_threads.joinGroup(this); });
    return status;
}

int UvcDevice::setProperty(unsigned int id, const void *data, unsigned int size)
{
    const CallDeadline deadline;
    if (id != NUBRIX_PROPERTY_STREAM_FLAG_MODE && id < kFirstControl)
        return kUnsupported;
    std::int32_t value = 0;
    if (data == nullptr || size != sizeof value)
        return kBadArgument;
    if (isGone())
        return kGone;
    std::memcpy(&value, data, sizeof value);
    if (id >= kFirstControl)
        return setControl(m_ios, id, value);
    if (value < 1 || value > 4)
        return kBadArgument;
    m_streamFlagMode = static_cast<unsigned int>(value);
    return kDone;
}

int UvcDevice::getProperty(unsigned int id, void *data, unsigned int *size)
{
    const CallDeadline deadline;
    if (data == nullptr || size == nullptr)
        return kBadArgument;
    if (isGone())
        return kGone;
    if (id == NUBRIX_PROPERTY_VERSION) {
        const NubrixVersions versions = versionsOf(m_usb);
        return giveOut(&versions, sizeof versions, data, size);
    }
    if (id == NUBRIX_PROPERTY_STREAM_FLAG_MODE) {
        const unsigned int mode = m_streamFlagMode;
        return giveOut(&mode, sizeof mode, data, size);
    }
    if (id > kPropertyCounters && slotOf(id - kPropertyCounters) != nullptr)
        return getCounters(id - kPropertyCounters, data, size);
    if (id < kFirstControl)
        return kUnsupported;
    std::int32_t value = 0;
    if (const int status = getControl(m_ios, id, value))
        return status;
    return giveOut(&value, sizeof value, data, size);
}

int UvcDevice::getCounters(unsigned int streamType, void *data, unsigned int *size)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Slot &slot = *slotOf(streamType);
    const StreamCounters counters = slot.stream ? slot.stream->counters() : StreamCounters{};
    return giveOut(&counters, sizeof counters, data, size);
}

int UvcDevice::propertyTranspraentTransmission(unsigned char *in, unsigned int inSize,
                                               unsigned char *out, unsigned int *outSize)
try {
    const CallDeadline deadline;
    return isGone() ? kGone : queryExtension(m_ios, in, inSize, out, outSize);
} catch (...) {
    reportFailure("a request to an extension unit");
    return kFailed;
}

int UvcDevice::deviceState()
{
    const CallDeadline deadline;
    return isGone() ? NUBRIX_DEVICE_DISCONNECTED : NUBRIX_DEVICE_CONNECTED;
}

int UvcDevice::keepLiveState()
{
    const CallDeadline deadline;
    if (isGone())
        return 0;
    const std::lock_guard<std::mutex> lock(m_lock);
    const bool silent = std::any_of(m_slots.begin(), m_slots.end(), [](const Slot &slot) {
        return slot.stream && !slot.stream->isAnswering();
    });
    return silent ? 0 : 1;
}

int UvcDevice::getSupportFrameMode(unsigned int streamType, const typedefNubrixFrameMode **modes,
                                   unsigned int *count)
{
    const Slot *slot = slotOf(streamType);
    if (slot == nullptr || modes == nullptr || count == nullptr)
        return kBadArgument;
    *modes = slot->modes->records.data();
    *count = static_cast<unsigned int>(slot->modes->records.size());
    return kDone;
}

int UvcDevice::setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode,
                            bool /*restart*/)
try {
    const CallDeadline deadline;
    Slot *slot = slotOf(streamType);
    if (slot == nullptr)
        return kBadArgument;
    if (slot->modes->records.empty()) {
        report(m_name + " has no " + streamName(streamType) + " stream");
        return kUnsupported;
    }
    if (isGone())
        return kGone;
    const std::size_t place = slot->modes->find(mode);
    if (place == slot->modes->records.size()) {
        report(m_name + " " + streamName(streamType) + ": " + slot->modes->refusal(mode));
        return kBadArgument;
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    if (slot->stream && slot->stream->isRunning()) {
        report(m_name + " " + streamName(streamType) + " runs: stop it before its mode is set");
        return kWrongState;
    }
    setCurrent(*slot, place);
    return kDone;
} catch (...) {
    reportFailure("setting a mode");
    return kFailed;
}

typedefNubrixFrameMode *UvcDevice::getCurrentFrameMode(unsigned int streamType)
{
    Slot *slot = slotOf(streamType);
    return slot == nullptr || slot->modes->records.empty() ? nullptr : &slot->shown;
}

void UvcDevice::setCurrent(Slot &slot, std::size_t place)
{
    slot.current = place;
    // Not written for nothing: whoever has it may be reading it, and a start sets the same mode.
    if (!isSame(slot.shown, slot.modes->records[place]))
        slot.shown = slot.modes->records[place];
}

UvcDevice::Setting UvcDevice::setting(unsigned int streamType) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const Slot &slot = *slotOf(streamType);
    const StreamModes &modes = *slot.modes;
    return {modes.records[slot.current], modes.sources[slot.current], m_ios[modes.node]};
}

bool UvcDevice::claimNode(const UvcStream &stream)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const UvcStream *&claim = m_claims[slotOf(stream.type())->modes->node];
    if (claim != nullptr)
        return false;
    claim = &stream;
    return true;
}

void UvcDevice::releaseNode(const UvcStream &stream)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    std::replace(m_claims.begin(), m_claims.end(), &stream,
                 static_cast<const UvcStream *>(nullptr));
}

bool UvcDevice::isGone()
{
    if (m_gone)
        return true;
    v4l2_capability capability = {};
    noteError(m_ios.front()->control(VIDIOC_QUERYCAP, &capability));
    return m_gone;
}

void UvcDevice::noteError(int error)
{
    if (error == ENODEV)
        m_gone = true;
}

UvcDevice::Slot *UvcDevice::slotOf(unsigned int streamType)
{
    return const_cast<Slot *>(std::as_const(*this).slotOf(streamType));
}

const UvcDevice::Slot *UvcDevice::slotOf(unsigned int streamType) const
{
    const auto slot = std::find_if(m_slots.begin(), m_slots.end(), [&](const Slot &candidate) {
        return candidate.modes->streamType == streamType;
    });
    return slot == m_slots.end() ? nullptr : &*slot;
}

}  // namespace nubrix
