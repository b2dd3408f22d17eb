#include "uvc/UvcStream.h"

#include <poll.h>
#include <pthread.h>
#include <algorithm>
#include <cerrno>

#include "common/DriverStream.h"
#include "uvc/CameraModes.h"
#include "uvc/Capture.h"
#include "uvc/NodeIo.h"
#include "uvc/NodeWorker.h"
#include "uvc/UvcDevice.h"

namespace nubrix::uvc {

UvcStream::UvcStream(UvcDevice &device, unsigned int streamType, DriverThreads &threads)
    : DriverStream(streamType), m_device(device), m_threads(threads)
{
}

unsigned int UvcStream::getFrameBufferSize()
{
    const CallDeadline deadline;
    const UvcDevice::Setting setting = m_device.setting(m_streamType);
    const typedefNubrixFrameMode &mode = setting.mode;
    const auto bytes = static_cast<unsigned int>(mode.width) * mode.height *
                       pixelBytes(setting.source.format->pixelFormat);
    v4l2_pix_format format = {};
    // A node that writes into frames may want more room than it fills.
    if (setting.source.format->passesThrough &&
        tryMode(*setting.node, mode, setting.source, format) == 0 && format.sizeimage < 2 * bytes)
        return std::max(bytes, format.sizeimage);
    return bytes;
}

int UvcStream::start()
try {
    if (!mayStart() || DriverThreads::isCaller(thread()))
        return kWrongState;
    m_threads.join(thread());  // which has been stopped from within
    const CallDeadline deadline;
    if (m_device.isGone())
        return kGone;
    if (!m_device.claimNode(*this)) {
        kReporter.error(name() + " shares its node with a stream that runs: stop that one first");
        return kWrongState;
    }
    m_broken = false;
    m_lastFrameTime = Clock::now().time_since_epoch().count();
    m_running = true;
    const UvcDevice::Setting setting = m_device.setting(m_streamType);
    m_mode = setting.mode;
    int status = kFailed;
    try {
        status = begin(*setting.node, setting.source);
        if (status == kDone)
            beginThread(*setting.node);
    } catch (...) {
        reportFailure("starting a stream of a USB camera");
    }
    if (status != kDone) {
        m_capture.reset();
        m_running = false;
        m_device.releaseNode(*this);
    }
    return status;
} catch (...) {
    reportFailure("starting a stream of a USB camera");
    return kFailed;
}

DriverThreads::Handle UvcStream::thread() const
{
    const std::lock_guard<std::mutex> lock(m_threadLock);
    return m_thread;
}

void UvcStream::beginThread(NodeIo &node)
{
    // A stop from within the first callback waits here.
    const std::lock_guard<std::mutex> lock(m_threadLock);
    m_thread = m_threads.run([self = shared_from_this(), &node] { self->run(node); }, &m_device);
}

int UvcStream::begin(NodeIo &node, const SourceMode &source)
{
    v4l2_pix_format format = {};
    if (const int status = prepare(node, source, format)) {
        // Who has set a node up keeps it from others until it gives its buffers back.
        std::uint32_t none = 0;
        requestBuffers(node, V4L2_MEMORY_MMAP, none);
        return status;
    }
    m_converter = std::make_unique<FrameConverter>(*source.format, m_mode.width, m_mode.height,
                                                   format.bytesperline, &m_stopping);
    m_counters.clear();
    m_lastSequence.reset();
    m_timeoutReported = false;
    m_end.clear();
    m_stopping = false;
    const int error = beginCapture(node, format.sizeimage);
    if (error == ENOSPC && source.compressed != nullptr) {
        m_capture.reset();  // the node is free again before it is set to another format
        kReporter.error(name() + " " + textOf(m_mode) +
                        ": little USB bandwidth is left, so the camera compresses its pictures");
        return begin(node, {source.compressed, source.interval});
    }
    if (error != 0)
        return refusal(error);
    m_lastFrameTime = Clock::now().time_since_epoch().count();
    return kDone;
}

int UvcStream::prepare(NodeIo &node, const SourceMode &source, v4l2_pix_format &format)
{
    v4l2_fract interval = source.interval;
    if (const int error = setMode(node, m_mode, source, format, interval))
        return refusal(error);
    if (!isMode(format, m_mode, source)) {
        kReporter.error(name() + " " + textOf(m_mode) +
                        " cannot be had any more, the camera gives " +
                        std::to_string(format.width) + "x" + std::to_string(format.height) +
                        ": close it and open it again to see its modes");
        return kBadArgument;
    }
    if (const auto rate = rateOf(interval); rate && *rate != m_mode.frameRate)
        kReporter.error(name() + " is set to " + std::to_string(m_mode.frameRate) +
                        " frames/s, and the camera gives " + std::to_string(*rate));
    return kDone;
}

int UvcStream::refusal(int error)
{
    m_device.noteError(error);
    reportError(error, name() + " " + textOf(m_mode));
    return statusOf(error);
}

int UvcStream::beginCapture(NodeIo &node, std::size_t bufferBytes)
{
    if (m_converter->passesThrough()) {
        const std::size_t room = std::max(bufferBytes, m_converter->frameBytes());
        m_capture =
            std::make_unique<DirectCapture>(node, *m_allocator, m_converter->frameBytes(), room);
        const int error = m_capture->begin();
        if (error == 0 || error == ENODEV || error == ENOSPC || error == EBUSY || error == ETIME)
            return error;
        m_capture.reset();  // the node is free again before it is asked for buffers of its own
    }
    m_capture = std::make_unique<MappedCapture>(node, *m_allocator, *m_converter);
    return m_capture->begin();
}

int UvcStream::stop()
{
    m_stopping = true;
    m_end.set();
    // The thread cannot wait for itself, and need not: it uses the capture before and after the
    // callback, and not after a stop.
    CallDeadline::suspendFor([this] { m_threads.join(thread()); });
    const CallDeadline deadline;
    if (m_running)
        end();
    return kDone;
}

void UvcStream::end()
{
    m_capture.reset();
    reportLosses();
    m_device.releaseNode(*this);
    m_running = false;
}

bool UvcStream::isResponsive() const
{
    if (!m_running)
        return true;
    const Clock::duration last(m_lastFrameTime.load());
    return !m_broken && Clock::now().time_since_epoch() - last < kFrameTimeout;
}

StreamCounters UvcStream::counters() const
{
    return m_counters.now();
}

void UvcStream::run(NodeIo &node) noexcept
try {
    ::pthread_setname_np(::pthread_self(), "nubrix-usb-cam");
    pollfd waited[] = {{node.descriptor(), POLLIN, 0}, {m_end.descriptor(), POLLIN, 0}};
    for (;;) {
        const int ready = ::poll(waited, 2, static_cast<int>(kFrameTimeout.count()));
        if (ready < 0) {
            if (errno == EINTR)
                continue;
            endFor(errno);
            return;
        }
        if (m_stopping)
            return;
        if (ready == 0) {
            reportTimeout();
            continue;
        }
        int error = takeFrame();
        if (m_stopping)  // maybe from within: the device may be gone
            return;
        // Nothing is filled and something is wrong: it would be so for ever.
        if (error == EAGAIN && (waited[0].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0)
            error = EIO;
        if (error != 0 && error != EAGAIN) {
            endFor(error);
            return;
        }
    }
} catch (...) {
    if (m_stopping)  // maybe from within: the device may be gone
        return;
    m_broken = true;
    reportFailure("a stream of a USB camera");
}

int UvcStream::takeFrame()
{
    CapturedFrame captured;
    if (const int error = m_capture->take(captured))
        return error;
    countMissed(captured.sequence);
    if (captured.conversion == Conversion::kUnusable) {
        if (!m_stopping)  // which ends a conversion
            countUnusable();
        return 0;
    }
    m_lastFrameTime = Clock::now().time_since_epoch().count();
    m_timeoutReported = false;
    if (captured.frame)
        deliver(captured);
    else
        ++m_counters.held;
    return 0;
}

void UvcStream::countUnusable()
{
    if (m_counters.unusable++ != 0)
        return;
    const std::string &fault = m_converter->fault();
    kReporter.error(name() + ": a picture has nothing in it to show" +
                    (fault.empty() ? "" : " (" + fault + ")") +
                    ", it and others like it are dropped and counted");
}

void UvcStream::reportTimeout()
{
    if (isResponsive() || m_timeoutReported)
        return;
    m_timeoutReported = true;
    kReporter.error(name() + " has sent no picture for " +
                    std::to_string(kFrameTimeout.count() / 1000) +
                    " s: check its cable, or choose a smaller mode");
}

void UvcStream::countMissed(unsigned int sequence)
{
    // Some do not count, and some begin anew.
    if (m_lastSequence && sequence > *m_lastSequence)
        m_counters.missed += sequence - *m_lastSequence - 1;
    m_lastSequence = sequence;
}

void UvcStream::deliver(CapturedFrame &captured)
{
    typedefNubrixFrame &record = captured.frame->frame();
    describe(record, captured);
    if (record.flags != 0)
        ++m_counters.flagged;
    ++m_counters.delivered;
    m_callback(captured.frame.get(), m_user);
}

void UvcStream::describe(typedefNubrixFrame &record, const CapturedFrame &captured) const
{
    record.pixelFormat = m_mode.pixelFormat;
    record.streamType = m_streamType;
    record.frameIndex = captured.sequence;
    record.timestampLow = static_cast<unsigned int>(captured.timestampUs);
    record.timestampHigh = static_cast<unsigned int>(captured.timestampUs >> 32U);
    record.flags = 0;
    if (captured.conversion == Conversion::kShort)
        record.flags |= kFrameFlagShort;
    if (captured.damaged || captured.conversion == Conversion::kDamaged)
        record.flags |= kFrameFlagDamaged;
    record.width = m_mode.width;
    record.height = m_mode.height;
    record.dataSize = static_cast<unsigned int>(m_converter->frameBytes());
    record.reserved = 0;
}

void UvcStream::endFor(int error)
{
    m_broken = true;
    m_device.noteError(error);
    // What the queue says of a camera that has just gone is not always that it has.
    reportError(m_device.isGone() ? ENODEV : error, name());
}

void UvcStream::reportLosses() const noexcept
try {
    const StreamCounters lost = counters();
    if (lost.held != 0)
        kReporter.error(name() + ": pictures dropped because the application held all frames: " +
                        std::to_string(lost.held));
    if (lost.unusable != 0)
        kReporter.error(name() + ": pictures dropped because there was nothing in them to show: " +
                        std::to_string(lost.unusable));
    if (lost.missed != 0)
        kReporter.error(name() +
                        ": pictures that the kernel dropped, incomplete or for want of a buffer: " +
                        std::to_string(lost.missed));
    if (lost.flagged != 0)
        kReporter.error(name() + ": frames that were short or damaged: " +
                        std::to_string(lost.flagged) + " of " + std::to_string(lost.delivered));
} catch (...) {
    reportFailure("reporting the losses of a stream");
}

std::string UvcStream::name() const
{
    return m_device.name() + " " + streamName(m_streamType);
}

}  // namespace nubrix::uvc
