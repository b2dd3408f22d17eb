// One stream of an opened camera and the thread that delivers its frames.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "common/CameraProperties.h"
#include "common/DriverStream.h"
#include "common/DriverThreads.h"
#include "uvc/Capture.h"
#include "uvc/FrameConverter.h"
#include "uvc/NodeIo.h"

namespace nubrix::uvc {

class UvcDevice;
struct SourceMode;

/// The operations are called one at a time; the queries may be called on any thread. The thread
/// shares the stream: the device stops the stream before it releases it, and the thread does not
/// use the device afterwards.
class UvcStream final : public DriverStream, public std::enable_shared_from_this<UvcStream> {
public:
    /// A camera that has sent no frame for this time is unresponsive.
    static constexpr std::chrono::milliseconds kFrameTimeout{3000};

    /// `threads` must outlive the stream. Throws std::system_error when there are no descriptors
    /// left.
    UvcStream(UvcDevice &device, unsigned int streamType, DriverThreads &threads);

    unsigned int getFrameBufferSize() override;
    /// -2 when it runs, when it lacks allocator or callback, or when another stream or program
    /// streams from the node; -9 when the camera is gone; -11 when it does not answer; -5 for lack
    /// of bandwidth or memory; -4 when the camera no longer has the mode. Also -2 within the frame
    /// callback that has stopped the stream, because its thread is still running; elsewhere start
    /// waits for that thread.
    int start() override;
    /// 0 also when it does not run. Within the frame callback it does not wait: the callback is not
    /// called again, and the thread ends when the callback returns.
    int stop() override;

    /// Whether frames arrive, or the stream does not run.
    bool isResponsive() const override;
    StreamCounters counters() const override;

private:
    using Clock = std::chrono::steady_clock;

    DriverThreads::Handle thread() const;
    void startThread(NodeIo &node);
    int begin(NodeIo &node, const SourceMode &source);
    int prepare(NodeIo &node, const SourceMode &source, v4l2_pix_format &format,
                v4l2_fract &interval);
    void reportRate(const v4l2_fract &interval) const;
    int refusal(int error);
    int beginCapture(NodeIo &node, std::size_t bufferBytes);
    void run(NodeIo &node) noexcept;
    void end();
    int takeFrame();
    void countUnusable();
    void reportTimeout();
    void countMissed(unsigned int sequence);
    void deliver(CapturedFrame &captured);
    void describe(typedefNubrixFrame &record, const CapturedFrame &captured) const;
    void breakOff(int error);
    void reportLosses() const noexcept;
    std::string name() const;

    UvcDevice &m_device;
    DriverThreads &m_threads;
    mutable std::mutex m_threadLock;
    DriverThreads::Handle m_thread;  // under m_threadLock
    typedefNubrixFrameMode m_mode = {};
    std::optional<unsigned int> m_lastSequence;  // used by the thread only
    bool m_timeoutReported = false;              // used by the thread only
    std::unique_ptr<FrameConverter> m_converter;
    std::unique_ptr<Capture> m_capture;
    EventFd m_stopEvent;
    std::atomic<bool> m_stopping{false};
    std::atomic<bool> m_broken{false};
    std::atomic<Clock::rep> m_lastFrameTime{0};
    RunningCounters m_counters;
};

}  // namespace nubrix::uvc
