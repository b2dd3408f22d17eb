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
    // A node that writes into frames may require more space than it fills.
    if (setting.source.format->passesThrough &&
        tryMode(*setting.node, mode, setting.source, format) == 0 && format.sizeimage < 2 * bytes)
        return std::max(bytes, format.sizeimage);
    return bytes;
}

int UvcStream::start()
try {
    if (!mayStart() || DriverThreads::isCaller(thread()))
        return kWrongState;
    m_threads.join(thread());  // a callback may have stopped the stream, without joining
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
            startThread(*setting.node);
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

void UvcStream::startThread(NodeIo &node)
{
    // A stop within the first callback waits here for m_thread.
    const std::lock_guard<std::mutex> lock(m_threadLock);
    m_thread = m_threads.run([self = shared_from_this(), &node] { self->run(node); }, &m_device);
}

int UvcStream::begin(NodeIo &node, const SourceMode &source)
{
    v4l2_pix_format format = {};
    v4l2_fract interval = source.interval;
    if (const int status = prepare(node, source, format, interval)) {
        // A node that has been set up stays reserved until its buffers are released.
        std::uint32_t none = 0;
        requestBuffers(node, V4L2_MEMORY_MMAP, none);
        return status;
    }
    m_converter = std::make_unique<FrameConverter>(*source.format, m_mode.width, m_mode.height,
                                                   format.bytesperline, &m_stopping);
    m_counters.clear();
    m_lastSequence.reset();
    m_timeoutReported = false;
    m_stopEvent.clear();
    m_stopping = false;
    const int error = beginCapture(node, format.sizeimage);
    if (error == ENOSPC && source.compressed != nullptr) {
        m_capture.reset();  // frees the node, which can then be set to another format
        kReporter.milestone(name() + " " + textOf(m_mode) +
                            ": little USB bandwidth is left, so the camera compresses its images");
        return begin(node, {source.compressed, source.interval});
    }
    if (error != 0)
        return refusal(error);
    reportRate(interval);
    m_lastFrameTime = Clock::now().time_since_epoch().count();
    return kDone;
}

int UvcStream::prepare(NodeIo &node, const SourceMode &source, v4l2_pix_format &format,
                       v4l2_fract &interval)
{
    if (const int error = setMode(node, m_mode, source, format, interval))
        return refusal(error);
    if (!isMode(format, m_mode, source)) {
        kReporter.error(name() + " " + textOf(m_mode) +
                        " is no longer available, the camera now has " +
                        std::to_string(format.width) + "x" + std::to_string(format.height) +
                        ": close it and open it again to see its modes");
        return kBadArgument;
    }
    return kDone;
}

void UvcStream::reportRate(const v4l2_fract &interval) const
{
    if (const auto rate = rateOf(interval); rate && *rate != m_mode.frameRate)
        kReporter.milestone(name() + " is set to " + std::to_string(m_mode.frameRate) +
                            " frames/s, but the camera delivers " + std::to_string(*rate));
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
        const std::size_t bufferSpace = std::max(bufferBytes, m_converter->frameBytes());
        m_capture = std::make_unique<DirectCapture>(node, *m_allocator, m_converter->frameBytes(),
                                                    bufferSpace);
        const int error = m_capture->begin();
        if (error == 0 || error == ENODEV || error == ENOSPC || error == EBUSY || error == ETIME)
            return error;
        m_capture.reset();  // frees the node, which can then provide buffers of its own
    }
    m_capture = std::make_unique<MappedCapture>(node, *m_allocator, *m_converter);
    return m_capture->begin();
}

int UvcStream::stop()
{
    m_stopping = true;
    m_stopEvent.set();
    // The thread itself must not join, and need not: it uses the capture before and after the
    // callback, but not after a stop.
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
    pollfd waited[] = {{node.descriptor(), POLLIN, 0}, {m_stopEvent.descriptor(), POLLIN, 0}};
    for (;;) {
        const int ready = ::poll(waited, 2, static_cast<int>(kFrameTimeout.count()));
        if (ready < 0) {
            if (errno == EINTR)
                continue;
            breakOff(errno);
            return;
        }
        if (m_stopping)
            return;
        if (ready == 0) {
            reportTimeout();
            continue;
        }
        int error = takeFrame();
        if (m_stopping)  // perhaps by the callback: the device may be destroyed
            return;
        // The node reports an error but no buffer: it would do so for ever.
        if (error == EAGAIN && (waited[0].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0)
            error = EIO;
        if (error != 0 && error != EAGAIN) {
            breakOff(error);
            return;
        }
    }
} catch (...) {
    if (m_stopping)  // perhaps by the callback: the device may be destroyed
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
        if (!m_stopping)  // stopping aborts a conversion
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
    kReporter.error(name() + ": a frame cannot be used" +
                    (fault.empty() ? "" : " (" + fault + ")") +
                    ", frames like it are dropped and counted");
}

void UvcStream::reportTimeout()
{
    if (isResponsive() || m_timeoutReported)
        return;
    m_timeoutReported = true;
    kReporter.error(name() + " has sent no frame for " +
                    std::to_string(kFrameTimeout.count() / 1000) +
                    " s: check its cable, or choose a smaller mode");
}

void UvcStream::countMissed(unsigned int sequence)
{
    // Some cameras do not count, and some restart their count.
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

void UvcStream::breakOff(int error)
{
    m_broken = true;
    m_device.noteError(error);
    // The error of the queue does not always state that the camera has just been unplugged.
    reportError(m_device.isGone() ? ENODEV : error, name());
}

void UvcStream::reportLosses() const noexcept
try {
    const StreamCounters lost = counters();
    const auto warn = [this](unsigned int frames, const char *text, const std::string &total) {
        if (frames != 0)
            kReporter.error(name() + ": frames " + text + ": " + std::to_string(frames) + total);
    };
    warn(lost.held, "dropped because the application held all frames", "");
    warn(lost.unusable, "dropped because their contents could not be used", "");
    warn(lost.missed, "that the kernel dropped, incomplete or for lack of a buffer", "");
    warn(lost.flagged, "that were short or damaged", " of " + std::to_string(lost.delivered));
} catch (...) {
    reportFailure("reporting the losses of a stream");
}

std::string UvcStream::name() const
{
    return m_device.name() + " " + streamName(m_streamType);
}

}  // namespace nubrix::uvc
