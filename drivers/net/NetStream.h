// One stream of an opened network camera.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>

#include "common/DriverStream.h"
#include "net/Aravis.h"
#include "net/CameraMonitor.h"
#include "net/CameraSetup.h"
#include "net/CameraWorker.h"
#include "net/FrameConverter.h"
#include "net/FrameMonitor.h"
#include "nubrix/driver.h"

namespace nubrix::net {

class NetDevice;

/// What a session sets the camera to, and where its frames go.
struct StreamSetup : CameraSetup {
    unsigned int streamType;
    bool deliversIncomplete;
    unsigned int frameCapacity;              ///< bytes of a frame of the allocator
    FrameAllocatorInterfaceBase *allocator;  ///< this and the next two: not used after the end
    DriverFrameCallback callback;
    void *user;
};

/// A running stream, from its start to its stop. Lives as long as the camera's worker has something
/// to do for it.
class StreamSession {
public:
    StreamSession(StreamSetup setup, std::shared_ptr<CameraState> state);
    ~StreamSession();
    StreamSession(const StreamSession &) = delete;
    StreamSession &operator=(const StreamSession &) = delete;

    /// Sets the camera up and starts it. Returns a status and logs the reason. Driver thread only.
    int begin(ArvCamera &camera);
    /// From now on no frame is delivered or held. Called from within its frame callback, it makes
    /// this the last call, and the frames are released when the callback returns. Does not access
    /// the camera. Any thread; may block.
    void end();
    /// Stops the camera. Driver thread only.
    void stopCamera(ArvCamera &camera);
    /// Releases what begin took; after end. Driver thread only.
    void tearDown();

    /// Its frame callback has not returned. Thread-safe.
    bool isDelivering() const { return m_isDelivering; }
    /// This thread is in the frame callback of some session. Thread-safe.
    static bool isInCallback() { return t_delivering != nullptr; }
    /// It runs, and no valid frame has arrived within the timeout. Thread-safe.
    bool hasTimedOut() const { return m_watchdog.isExpired(); }
    /// The counters and the report of the losses. Thread-safe.
    const FrameMonitor &monitor() const { return m_monitor; }

private:
    void shareWithAravis();
    static void onStream(void *session, ArvStreamCallbackType type, ArvBuffer *buffer);

    int prepare(ArvCamera &camera);
    int pushBuffers(ArvStream &stream);
    ArvBuffer *newBuffer();
    void takeBuffer();
    void reportTimeout() const noexcept;
    void deliver(ArvBuffer &buffer, NubrixFrameRef &frame);

    const StreamSetup m_setup;
    const std::shared_ptr<CameraState> m_state;
    std::unique_ptr<const FrameConverter> m_converter;  // these three: fixed by begin
    std::size_t m_payload = 0;
    bool m_isDirect = false;  // frames are filled in place
    FrameNumbers m_numbers;   // both of the stream's thread
    ArrivalTimes m_arrivals;
    static thread_local const StreamSession *t_delivering;
    std::atomic<bool> m_isDelivering{false};
    std::atomic<unsigned int> m_handOver{0};
    std::mutex m_lock;               // begin and tearDown exclude end
    bool m_isThreadStopped = false;  // under m_lock
    std::atomic<ArvStream *> m_stream{nullptr};
    std::atomic<bool> m_ended{false};
    FrameMonitor m_monitor;
    FrameWatchdog m_watchdog;
};

/// The operations come one at a time; the queries may be used on any thread.
class NetStream final : public DriverStream {
public:
    NetStream(NetDevice &device, unsigned int streamType);
    ~NetStream() override;

    unsigned int getFrameBufferSize() override;
    /// -2 when it runs, has no callback or allocator, its frames are too small, another stream of
    /// the camera runs, or the callback that stopped it has not returned; -9 when the camera is
    /// gone or does not answer; -4 when it refuses the mode.
    int start() override;
    /// 0 also when it does not run. It may be called, and the stream destroyed, from within its own
    /// frame callback: that is the last call, and its thread ends when the callback returns.
    int stop() override;

    bool isResponsive() const override;
    StreamCounters counters() const override;

private:
    bool isEnding() const;

    NetDevice &m_device;
    // Tasks of the session, prepared at its start: the worker must get them even without memory.
    // Otherwise the last owner of the session may be Aravis' own thread, which cannot destroy it.
    CameraWorker::Prepared m_stopCamera;
    CameraWorker::Prepared m_tearDown;
    mutable std::mutex m_lock;
    std::shared_ptr<StreamSession> m_session;  // under m_lock; kept after the stop
};

}  // namespace nubrix::net
