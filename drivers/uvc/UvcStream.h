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

class NodeIo;
class UvcDevice;
struct SourceMode;

/// The operations come one at a time; the queries may be used on any thread. Its thread shares it:
/// it is stopped before its device lets go of it, and uses the device no more then.
class UvcStream final : public DriverStream, public std::enable_shared_from_this<UvcStream> {
public:
    /// A camera that has sent nothing for so long does not answer.
    static constexpr std::chrono::milliseconds kFrameTimeout{3000};

    /// `threads` must outlive it. Throws std::system_error when there are no descriptors left.
    UvcStream(UvcDevice &device, unsigned int streamType, DriverThreads &threads);

    unsigned int getFrameBufferSize() override;
    /// -2 when it runs, lacks allocator or callback, or somebody else streams from the node; -9
    /// when the camera is gone, -11 when it does not answer; -5 for want of bandwidth or memory; -4
    /// when the camera no longer
    /// has the mode. -2 also within the frame callback that has stopped it, as its thread is still
    /// there; elsewhere start waits for that.
    int start() override;
    /// 0 also when it does not run. Within the frame callback it does not wait: the callback is
    /// not called again, and its thread ends when it returns.
    int stop() override;

    /// Pictures come, or none are asked for.
    bool isResponsive() const override;
    StreamCounters counters() const override;

private:
    using Clock = std::chrono::steady_clock;

    DriverThreads::Handle thread() const;
    void beginThread(NodeIo &node);
    int begin(NodeIo &node, const SourceMode &source);
    int prepare(NodeIo &node, const SourceMode &source, v4l2_pix_format &format);
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
    void endFor(int error);
    void reportLosses() const noexcept;
    std::string name() const;

    UvcDevice &m_device;
    DriverThreads &m_threads;
    mutable std::mutex m_threadLock;
    DriverThreads::Handle m_thread;  // under m_threadLock
    typedefNubrixFrameMode m_mode = {};
    std::optional<unsigned int> m_lastSequence;  // of the thread
    bool m_timeoutReported = false;              // of the thread
    std::unique_ptr<FrameConverter> m_converter;
    std::unique_ptr<Capture> m_capture;
    EventFd m_end;
    std::atomic<bool> m_stopping{false};
    std::atomic<bool> m_broken{false};
    std::atomic<Clock::rep> m_lastFrameTime{0};
    RunningCounters m_counters;
};

}  // namespace nubrix::uvc
