#include "uvc/UvcDevice.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "uvc/NodeWorker.h"

namespace nubrix::uvc {

namespace {

unsigned short decimalOf(unsigned int bcd)
{
    return static_cast<unsigned short>((bcd >> 4U & 0xfU) * 10 + (bcd & 0xfU));
}

bool canCapture(NodeIo &node)
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
                               [](const Node &node) { return !canCapture(*node); }),
                nodes.end());
    if (nodes.empty()) {
        kReporter.error(name +
                        " delivers no frames that can be streamed: it is no camera, or it is gone");
        return kUnsupported;
    }
    device.reset(new UvcDevice(name, usb, std::move(nodes), threads));
    const auto &modes = device->m_modes;
    if (std::all_of(modes.begin(), modes.end(), [](const auto &m) { return m.records.empty(); })) {
        kReporter.error(name +
                        " has no pixel format that is known here, at a size and rate that a "
                        "mode can have: it has no streams");
    }
    return kDone;
}

UvcDevice::UvcDevice(const std::string &name, const UsbIdentity &usb, std::vector<Node> nodes,
                     DriverThreads &threads)
    : DriverDevice(kReporter, name),
      m_usb(usb),
      m_nodes(std::move(nodes)),
      m_ios(iosOf(m_nodes)),
      m_modes(readModes(m_ios)),
      m_threads(threads),
      m_claims(m_nodes.size(), nullptr)
{
    for (const StreamModes &modes : m_modes)
        addStream(modes, modes.records.empty() ? 0 : modes.defaultMode());
}

UvcDevice::~UvcDevice()
{
    UvcDevice::closeAllStreams();
}

int UvcDevice::createStream(unsigned int streamType, NubrixBaseStream **stream)
{
    const CallDeadline deadline;
    return DriverDevice::createStream(streamType, stream);
}

std::shared_ptr<DriverStream> UvcDevice::newStream(unsigned int streamType)
{
    return std::make_shared<UvcStream>(*this, streamType, m_threads);
}

int UvcDevice::destroyStream(NubrixBaseStream **stream)
{
    const CallDeadline deadline;
    return DriverDevice::destroyStream(stream);
}

int UvcDevice::closeAllStreams()
{
    const CallDeadline deadline;
    const int status = DriverDevice::closeAllStreams();
    CallDeadline::suspendFor([this] { m_threads.joinGroup(this); });
    return status;
}

int UvcDevice::setProperty(unsigned int id, const void *data, unsigned int size)
{
    const CallDeadline deadline;
    if (id < kFirstControl)
        return DriverDevice::setProperty(id, data, size);
    std::int32_t value = 0;
    if (data == nullptr || size != sizeof value)
        return kBadArgument;
    if (isGone())
        return kGone;
    std::memcpy(&value, data, sizeof value);
    return setControl(m_ios, id, value);
}

int UvcDevice::getProperty(unsigned int id, void *data, unsigned int *size)
{
    const CallDeadline deadline;
    if (isCounters(id) || id < kFirstControl)
        return DriverDevice::getProperty(id, data, size);
    if (data == nullptr || size == nullptr)
        return kBadArgument;
    if (isGone())
        return kGone;
    std::int32_t value = 0;
    if (const int status = getControl(m_ios, id, value))
        return status;
    return copyProperty(&value, sizeof value, data, size);
}

NubrixVersions UvcDevice::versions() const
{
    const unsigned int release = m_usb.release;
    NubrixVersions versions = versionsWith(m_usb.serial);
    versions.firmware[0] = decimalOf(release >> 8U);
    versions.firmware[1] = static_cast<unsigned short>(release >> 4U & 0xfU);
    versions.firmware[2] = static_cast<unsigned short>(release & 0xfU);
    return versions;
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

const StreamModes &UvcDevice::modesOf(unsigned int streamType) const
{
    return *std::find_if(m_modes.begin(), m_modes.end(),
                         [&](const StreamModes &modes) { return modes.streamType == streamType; });
}

UvcDevice::Setting UvcDevice::setting(unsigned int streamType) const
{
    const StreamModes &modes = modesOf(streamType);
    const typedefNubrixFrameMode current = mode(streamType);
    return {current, modes.sources[modes.find(current)], m_ios[modes.node]};
}

bool UvcDevice::claimNode(const UvcStream &stream)
{
    const std::lock_guard<std::mutex> lock(m_claimLock);
    const UvcStream *&claim = m_claims[modesOf(stream.type()).node];
    if (claim != nullptr)
        return false;
    claim = &stream;
    return true;
}

void UvcDevice::releaseNode(const UvcStream &stream)
{
    const std::lock_guard<std::mutex> lock(m_claimLock);
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

}  // namespace nubrix::uvc
