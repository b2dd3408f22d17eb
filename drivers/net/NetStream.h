// One stream of an opened network camera.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "common/DriverStream.h"
#include "net/CameraWorker.h"
#include "net/StreamSession.h"

namespace nubrix::net {

class NetDevice;

/// The operations come one at a time; the queries may be used on any thread.
class NetStream final : public DriverStream {
public:
    NetStream(NetDevice &device, unsigned int streamType);
    ~NetStream() override;

    unsigned int getFrameBufferSize() override;
    /// -2 when it runs, lacks callback or allocator, or its frames are too small, or another stream
    /// of the camera runs, or in the callback that has stopped it; -9 when the camera is gone or
    /// does not answer; -4 when it refuses the mode.
    int start() override;
    /// 0 also when it does not run. From within its own frame callback, too, as is its destruction:
    /// the callback is not called again, and what it runs in ends when it returns.
    int stop() override;

    /// It runs, and no picture of use has come for too long. Thread-safe.
    bool isSilent() const;
    StreamCounters counters() const;

private:
    bool isEnding() const;

    NetDevice &m_device;
    // Of the session, made at its start: the worker must get them, or the session would end with
    // its last owner, which may be Aravis' own thread.
    CameraWorker::Prepared m_stopCamera;
    CameraWorker::Prepared m_tearDown;
    mutable std::mutex m_lock;
    std::shared_ptr<StreamSession> m_session;  // under m_lock; stays after the stop
};

}  // namespace nubrix::net
