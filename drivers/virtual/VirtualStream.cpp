#include "virtual/VirtualStream.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "common/Report.h"
#include "virtual/VirtualCamera.h"
#include "virtual/VirtualDevice.h"

namespace nubrix::virtual_camera {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::microseconds kShortestPause(50);
constexpr std::chrono::microseconds kLongestPause(1000);
constexpr std::chrono::milliseconds kPoolRetry(5);

}  // namespace

StreamRun::StreamRun(Setup setup)
    : m_setup(std::move(setup)),
      m_frameRate(static_cast<unsigned char>(m_setup.mode.frameRate)),
      m_place(m_setup.place)
{
}

void StreamRun::deliver()
try {
    std::uint32_t index = firstFrame();
    while (!isEnding() && runFrame(index)) {
    }
} catch (...) {
    reportFailure("the stream of a virtual camera");
}

void StreamRun::end()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_ended = true;
    m_wake.notify_all();
}

std::uint32_t StreamRun::firstFrame() const
{
    // A stream that starts later than others catches up with them, so that no recorded frame is
    // skipped.
    if (isRecorded())
        return m_setup.camera.source().firstFrom(m_setup.streamType, m_place.us);
    return isFreePacing() ? 0
                          : CameraClock::indexAt(m_place.epoch, steady_clock::now(), m_frameRate);
}

void StreamRun::lookUpRecorded(std::uint32_t &frameIndex)
{
    FrameSource &source = m_setup.camera.source();
    if (isSeekPending()) {
        m_place = m_setup.state->clock.place();
        frameIndex = source.firstFrom(m_setup.streamType, m_place.us);
    }
    m_recorded = source.recorded(m_setup.streamType, frameIndex);
}

bool StreamRun::runFrame(std::uint32_t &frameIndex)
{
    VirtualCamera &camera = m_setup.camera;
    if (isRecorded())
        lookUpRecorded(frameIndex);
    m_next = frameIndex;
    if (isRecorded() && !m_recorded) {  // the end, until the next seek
        sleepUntil(nullptr);
        return !isEnding();
    }
    const Time capture = nextCapture(frameIndex);
    // In real time an image is rendered before its time, so that the frame is not late.
    FramePtr frame;
    if (!isFreePacing() && !render(frameIndex, frame))
        return false;
    sleepUntil(&capture);
    if (isEnding())
        return false;
    if (isSeekPending())
        return true;
    const FrameEffects effects =
        camera.faults().effectsOn(m_setup.streamType, frameIndex, camera.msAt(capture));
    if (effects.unplug) {
        camera.unplug();
        return false;
    }
    if (effects.stall) {
        frame.reset();
        stall(effects.stallMs);
        return true;
    }
    if (isFreePacing() && !effects.drop) {
        if (!render(frameIndex, frame))
            return false;
        if (!frame && (isEnding() || isSeekPending()))  // the wait for a free one ended
            return !isEnding();
    }
    if (effects.drop)
        ++m_counters.missed;
    else if (frame)
        deliverFrame(*frame, frameIndex, capture, effects);
    else
        ++(m_isPoolEmpty ? m_counters.held : m_counters.unusable);
    ++frameIndex;
    return true;
}

void StreamRun::deliverFrame(NubrixFrameRef &frame, std::uint32_t frameIndex, Time capture,
                             const FrameEffects &effects)
{
    if (isEnding())
        return;
    fillRecord(frame.frame(), frameIndex, capture, effects);
    m_counters.flagged += frame.frame().flags == 0 ? 0 : 1;
    ++m_counters.delivered;
    m_setup.callback(&frame, m_setup.user);
    if (isFreePacing())
        awaitReturn(frame);
}

void StreamRun::stall(const std::optional<std::uint32_t> &ms)
{
    const Time end = steady_clock::now() + std::chrono::milliseconds(ms.value_or(0));
    sleepUntil(ms ? &end : nullptr);
}

StreamRun::Time StreamRun::nextCapture(std::uint32_t &frameIndex)
{
    const Time now = steady_clock::now();
    if (isFreePacing())
        return now;
    if (isRecorded())
        return m_place.epoch + std::chrono::microseconds(m_recorded->us - m_place.us);
    // Frames whose time has passed are lost, as in a camera that nobody reads.
    const std::uint32_t due = CameraClock::indexAt(m_place.epoch, now, m_frameRate);
    m_counters.missed += due > frameIndex ? due - frameIndex : 0;
    frameIndex = std::max(frameIndex, due);
    return CameraClock::captureTime(m_place.epoch, frameIndex, m_frameRate);
}

bool StreamRun::render(std::uint32_t frameIndex, FramePtr &frame)
{
    FramePtr taken(takeFrame());
    m_isPoolEmpty = !taken;
    FrameSource &source = m_setup.camera.source();
    if (!taken || taken->frame().data == nullptr ||
        taken->bufferSize() < source.largestFrameBytes(m_setup.streamType, m_setup.mode))
        return true;
    auto *data = static_cast<std::uint8_t *>(taken->frame().data);
    const auto result = source.fill(m_setup.streamType, m_setup.mode, frameIndex, data);
    if (result == FrameSource::Result::kFilled)
        frame = std::move(taken);
    return result != FrameSource::Result::kEnd;
}

NubrixFrameRef *StreamRun::takeFrame()
{
    NubrixFrameRef *frame = m_setup.allocator->allocOneFrame();
    // A recording is played in full, however slowly the application releases frames.
    while (frame == nullptr && (isFreePacing() || isRecorded()) && !isEnding() &&
           !isSeekPending()) {
        const Time retry = steady_clock::now() + kPoolRetry;
        sleepUntil(&retry);
        frame = m_setup.allocator->allocOneFrame();
    }
    return frame;
}

void StreamRun::fillRecord(typedefNubrixFrame &record, std::uint32_t frameIndex, Time capture,
                           const FrameEffects &effects) const
{
    auto stamp = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(capture.time_since_epoch()).count());
    if (m_recorded)
        stamp = m_recorded->timestampUs;
    const auto offset = static_cast<std::uint64_t>(effects.clockOffsetUs);
    stamp = effects.clockOffsetUs < 0 && stamp < 0 - offset ? 0 : stamp + offset;
    record.pixelFormat = m_setup.mode.pixelFormat;
    record.streamType = m_setup.streamType;
    record.frameIndex = frameIndex;
    record.timestampLow = static_cast<unsigned int>(stamp);
    record.timestampHigh = static_cast<unsigned int>(stamp >> 32U);
    record.flags = 0;
    record.width = m_setup.mode.width;
    record.height = m_setup.mode.height;
    record.dataSize = framePayload(m_setup.mode);
    record.reserved = 0;
    if (m_recorded) {
        record.frameIndex = m_recorded->frameIndex;
        record.width = m_recorded->width;
        record.height = m_recorded->height;
        record.dataSize = m_recorded->bytes;
    }
    if (effects.shortened) {
        record.dataSize = std::min(record.dataSize, effects.bytes.value_or(record.dataSize / 2));
        record.flags |= kFrameFlagShort;
    }
    if (effects.empty) {
        record.dataSize = 0;
        record.flags |= kFrameFlagEmpty;
    }
    if (effects.wrongType) {
        const unsigned int other =
            m_setup.streamType == NUBRIX_STREAM_DEPTH ? NUBRIX_STREAM_COLOR : NUBRIX_STREAM_DEPTH;
        record.streamType = effects.asType == 0 ? other : effects.asType;
        record.flags |= kFrameFlagWrongType;
    }
}

void StreamRun::awaitReturn(NubrixFrameRef &frame)
{
    // There is no notification of a release, so the count is polled: it is 1 when only this
    // reference is left.
    auto pause = kShortestPause;
    while (!isEnding() && !isSeekPending()) {
        frame.incRef();
        if (frame.release() == 1)
            return;
        const Time next = steady_clock::now() + pause;
        sleepUntil(&next);
        pause = std::min(pause * 2, kLongestPause);
    }
}

void StreamRun::sleepUntil(const Time *until)
{
    std::unique_lock<std::mutex> lock(m_lock);
    const auto ending = [this] { return m_ended || isUpgraded() || isSeekPending(); };
    if (until == nullptr)
        m_wake.wait(lock, ending);
    else
        m_wake.wait_until(lock, *until, ending);
}

bool StreamRun::isEnding() const
{
    if (m_setup.state->gone || isUpgraded())
        return true;
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_ended;
}

bool StreamRun::isUpgraded() const
{
    return m_setup.camera.upgrades() != m_setup.upgrades;
}

bool StreamRun::isSeekPending() const
{
    return isRecorded() && m_setup.state->clock.place().seeks != m_place.seeks;
}

void StreamRun::wake()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_wake.notify_all();
}

bool StreamRun::isRecorded() const
{
    return m_setup.camera.source().isRecorded();
}

bool StreamRun::isFreePacing() const
{
    return m_setup.camera.pacing() == Pacing::kFree;
}

VirtualStream::VirtualStream(VirtualDevice &device, unsigned int streamType)
    : DriverStream(streamType), m_device(device)
{
}

VirtualStream::~VirtualStream()
{
    VirtualStream::stop();
}

unsigned int VirtualStream::getFrameBufferSize()
{
    return m_device.camera().source().largestFrameBytes(m_streamType, m_device.mode(m_streamType)) +
           m_device.camera().faults().extraBufferBytes(m_streamType);
}

int VirtualStream::start()
try {
    if (!mayStart())
        return kWrongState;
    if (m_device.isGone())
        return kGone;
    VirtualCamera &camera = m_device.camera();
    const unsigned int upgrades = camera.upgrades();
    if (camera.isUpgrading())
        return kWrongState;
    if (const int status = camera.faults().startAttempt(
            m_streamType, camera.msAt(std::chrono::steady_clock::now())))
        return status;
    const typedefNubrixFrameMode mode = m_device.mode(m_streamType);
    camera.source().prepare(m_streamType, mode);
    camera.faults().beginRun(m_streamType);
    camera.threads().join(
        m_thread);  // the last frame of the previous start comes before the first of this one
    return begin(mode, upgrades);
} catch (const std::exception &) {
    return kFailed;
}

int VirtualStream::begin(const typedefNubrixFrameMode &mode, unsigned int upgrades)
{
    // A stop from within the first callback waits here.
    const std::lock_guard<std::mutex> lock(m_lock);
    const std::shared_ptr<OpenState> state = m_device.state();
    const CameraClock::Place place = state->clock.begin();
    try {
        const auto run = std::make_shared<StreamRun>(
            StreamRun::Setup{m_device.camera(), state, m_streamType, upgrades, mode, place,
                             m_allocator, m_callback, m_user});
        m_thread = m_device.camera().threads().run([run] { run->deliver(); });
        m_run = run;
        m_running = true;
        return kDone;
    } catch (const std::exception &) {
        state->clock.end();
        return kFailed;
    }
}

int VirtualStream::stop()
{
    DriverThreads::Handle thread;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_running.exchange(false)) {
            m_run->end();
            m_device.state()->clock.end();
        }
        thread = m_thread;
    }
    m_device.camera().threads().join(thread);
    return kDone;
}

std::uint32_t VirtualStream::nextFrame() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_run ? m_run->nextFrame() : 0;
}

void VirtualStream::wake()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_run)
        m_run->wake();
}

StreamCounters VirtualStream::counters() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_run ? m_run->counters() : StreamCounters{};
}

}  // namespace nubrix::virtual_camera
