#include "virtual/StreamRun.h"

#include <algorithm>
#include <utility>

#include "common/Report.h"
#include "virtual/VirtualCamera.h"

namespace nubrix {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::microseconds kShortestNap(50);
constexpr std::chrono::microseconds kLongestNap(1000);
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
    // A stream that starts after others catches up with them: nothing of a recording is left out.
    if (isRecorded())
        return m_setup.camera.source().firstFrom(m_setup.streamType, m_place.us);
    return isFree() ? 0 : CameraClock::indexAt(m_place.epoch, steady_clock::now(), m_frameRate);
}

void StreamRun::lookUpRecorded(std::uint32_t &frameIndex)
{
    FrameSource &source = m_setup.camera.source();
    if (isSought()) {
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
    if (isRecorded() && !m_recorded) {  // the end, until another place is sought
        sleepUntil(nullptr);
        return !isEnding();
    }
    const Time capture = nextCapture(frameIndex);
    // In real time an image is rendered before its time, so that it can be delivered in time.
    FramePtr frame;
    if (!isFree() && !render(frameIndex, frame))
        return false;
    sleepUntil(&capture);
    if (isEnding())
        return false;
    if (isSought())
        return true;
    const FrameOrders orders =
        camera.faults().ordersFor(m_setup.streamType, frameIndex, camera.msAt(capture));
    if (orders.unplug) {
        camera.unplug();
        return false;
    }
    if (orders.stall) {
        frame.reset();
        const Time end =
            steady_clock::now() + std::chrono::milliseconds(orders.stallMs.value_or(0));
        sleepUntil(orders.stallMs ? &end : nullptr);
        return true;
    }
    if (isFree() && !orders.drop && !render(frameIndex, frame))
        return false;
    if (frame && !orders.drop && !isEnding()) {
        describe(frame->frame(), frameIndex, capture, orders);
        m_setup.callback(frame.get(), m_setup.user);
        if (isFree())
            awaitReturn(*frame);
    }
    ++frameIndex;
    return true;
}

StreamRun::Time StreamRun::nextCapture(std::uint32_t &frameIndex) const
{
    const Time now = steady_clock::now();
    if (isFree())
        return now;
    if (isRecorded())
        return m_place.epoch + std::chrono::microseconds(m_recorded->us - m_place.us);
    // Frames that have passed meanwhile are lost.
    frameIndex = std::max(frameIndex, CameraClock::indexAt(m_place.epoch, now, m_frameRate));
    return CameraClock::captureTime(m_place.epoch, frameIndex, m_frameRate);
}

bool StreamRun::render(std::uint32_t frameIndex, FramePtr &frame)
{
    FramePtr taken(takeFrame());
    FrameSource &source = m_setup.camera.source();
    if (!taken || taken->frame().data == nullptr ||
        taken->bufferSize() < source.largestPicture(m_setup.streamType, m_setup.mode))
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
    // A recording is played in full, however slowly its frames are taken.
    while (frame == nullptr && (isFree() || isRecorded()) && !isEnding() && !isSought()) {
        const Time retry = steady_clock::now() + kPoolRetry;
        sleepUntil(&retry);
        frame = m_setup.allocator->allocOneFrame();
    }
    return frame;
}

void StreamRun::describe(typedefNubrixFrame &record, std::uint32_t frameIndex, Time capture,
                         const FrameOrders &orders) const
{
    auto stamp = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(capture.time_since_epoch()).count());
    if (m_recorded)
        stamp = m_recorded->timestampUs;
    const auto offset = static_cast<std::uint64_t>(orders.clockOffsetUs);
    stamp = orders.clockOffsetUs < 0 && stamp < 0 - offset ? 0 : stamp + offset;
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
    if (orders.shortened) {
        record.dataSize = std::min(record.dataSize, orders.bytes.value_or(record.dataSize / 2));
        record.flags |= kFrameFlagShort;
    }
    if (orders.empty) {
        record.dataSize = 0;
        record.flags |= kFrameFlagEmpty;
    }
    if (orders.wrongType) {
        const unsigned int other =
            m_setup.streamType == NUBRIX_STREAM_DEPTH ? NUBRIX_STREAM_COLOR : NUBRIX_STREAM_DEPTH;
        record.streamType = orders.asType == 0 ? other : orders.asType;
        record.flags |= kFrameFlagWrongType;
    }
}

void StreamRun::awaitReturn(NubrixFrameRef &frame)
{
    // Nothing reports when a frame is returned, so its count is polled: ours alone is 1.
    auto nap = kShortestNap;
    while (!isEnding() && !isSought()) {
        frame.incRef();
        if (frame.release() == 1)
            return;
        const Time next = steady_clock::now() + nap;
        sleepUntil(&next);
        nap = std::min(nap * 2, kLongestNap);
    }
}

void StreamRun::sleepUntil(const Time *until)
{
    std::unique_lock<std::mutex> lock(m_lock);
    const auto ending = [this] { return m_ended || isUpgraded() || isSought(); };
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

bool StreamRun::isSought() const
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

bool StreamRun::isFree() const
{
    return m_setup.camera.pacing() == Pacing::kFree;
}

}  // namespace nubrix
