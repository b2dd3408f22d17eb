// The object behind a stream handle: keeps the newest frame of a sensor and delivers it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "base/CriticalSectionImpl.h"
#include "base/EventImpl.h"
#include "base/Mutex.h"
#include "base/ThreadWrapper.h"
#include "base/sigslot.h"
#include "base/xp.h"
#include "nubrix/driver.h"
#include "stream/CallbackWorker.h"
#include "stream/FrameReturn.h"
#include "stream/StreamLedger.h"

namespace nubrix {

class Device;
class Sensor;
class UserStreamFrameListener;

/// Keeps one frame, the newest. With a callback a thread of the stream pops each frame and calls
/// it; without one another thread notifies the listeners, who pull the frame themselves. Any
/// thread, the callback's own included; a listener must not start or stop the stream.
class VideoStream final : public sigslot::has_slots<sigslot::single_threaded> {
public:
    using NewFrameSignal = sigslot::signal1<VideoStream *, sigslot::multi_threaded_local>;

    VideoStream(Device &device, Sensor &sensor);
    ~VideoStream() override;

    /// 0 (also when started already), or why the worker or the sensor did not start; the stream
    /// then counts as started all the same, but not when it throws. -13 after shutDown. Waits for a
    /// start or stop of another thread.
    int start();
    /// Afterwards no callback and no listener is called. Waits for a start that is under way and
    /// for the callback, unless it is called from within it or the callback waits for this thread:
    /// then the callback that runs is the last one.
    void stop();
    /// Stops permanently. True when the callback's thread has ended; false when this thread must
    /// not wait for it: it is to be called again on another thread before the stream is deleted.
    bool shutDown();
    /// Slot of the sensor's signal, on the driver's thread.
    void onNewSensorFrame(NubrixFrameRef *frame);
    /// The newest frame: for the application with `pop`, else for a recorder, which leaves it in
    /// the queue. -2 when not started, -5 without a frame.
    int readFrame(xp<NubrixFrameRef> &out, bool pop);
    /// Whether readFrame has one to pop.
    bool hasFrame();
    /// A listener starts to use frames. It is notified of the newest one again if the driver waits
    /// for that one to be returned.
    void onListenerBegins();
    /// A listener that leaves frames in the queue no longer needs the newest one. `hasRecorded`: it
    /// has written the frame that it read.
    void onListenerDone(bool hasRecorded = false);
    /// A thread has been woken to read the newest frame.
    void onReaderWoken();
    /// The newest frame, left in the queue; waits up to 1 s for one, unless the stream is stopped
    /// or `isOver` holds. -2 when not started, -1 without.
    int getFrame(xp<NubrixFrameRef> &out, const std::function<bool()> &isOver = nullptr);
    /// Makes every waiting getFrame evaluate `isOver` again.
    void wakeGetFrame() { m_streamEvent.wakeAll(); }
    /// Sets the callback and starts its thread, also for null. Kept until the next call.
    void setStreamCallback(NubrixFrameCallback callback, void *userData);

    /// All but the size and what the driver knows.
    NubrixStreamLedger ledger();

    /// What the application holds: this object's address.
    NubrixStream *handle() { return reinterpret_cast<NubrixStream *>(this); }
    /// Differs from those of all other streams of the process, also of destroyed ones.
    std::uint64_t id() const { return m_id; }
    unsigned int getFrameType() const;
    Device &device() const { return m_device; }
    NewFrameSignal &newFrameSignal() { return m_newFrame; }

    /// Whether it is stopped, and the callback's thread has ended or was never started.
    bool hasEnded() { return !m_started && m_callbackWorker.hasEnded(); }

private:
    static bool newFrameThreadFunc(void *self);
    static bool newFrameCallBackThreadFunc(void *self);
    bool newFrameProcess();
    bool newFrameCallFrameBackProcess();
    void readConfigeMaxFrameSize();
    void notifyListeners();
    void lookAgain();
    void forwardEvent();
    bool hasStarted();
    bool stopAllBut(bool callbackStopped);
    void stopStreamWorker();
    void forgetFrames();
    bool requireStarted() const;
    bool takeForCallback(xp<NubrixFrameRef> &out, NubrixFrameCallback &callback, void *&userData);
    void popRead(NubrixFrameRef *frame) NUBRIX_REQUIRES(m_queueLock);
    NubrixFrameRef *newest() const NUBRIX_REQUIRES(m_queueLock)
    {
        return m_queue.empty() ? nullptr : m_queue.front();
    }
    void stopCallbackWorker();

    const std::uint64_t m_id;
    NewFrameSignal m_newFrame;
    const std::shared_ptr<Device> m_owner;  // keeps m_device and m_sensor alive where it is shared
    Device &m_device;
    Sensor &m_sensor;
    Mutex m_change;  // one start or stop at a time; no callback is waited for under it
    bool m_shutDown NUBRIX_GUARDED_BY(m_change) = false;
    std::atomic<bool> m_started{false};
    std::atomic<bool> b_NewFrameThreadStarted{false};
    EventImpl m_streamEvent;              // a frame for the listeners, or the end of the worker
    std::atomic<bool> m_mustLook{false};  // the worker must look at the newest frame
    int m_nextLookMs = -1;                // when it does so anyway, -1: never; the worker's
    std::unique_ptr<UserStreamFrameListener> m_userListener;  // null until used

    CriticalSectionImpl m_queueLock;
    // Each entry holds a reference.
    std::vector<NubrixFrameRef *> m_queue NUBRIX_GUARDED_BY(m_queueLock);
    FrameReturn m_return NUBRIX_GUARDED_BY(m_queueLock);
    StreamLedger m_ledger NUBRIX_GUARDED_BY(m_queueLock);
    unsigned int m_maxFrameSize NUBRIX_GUARDED_BY(m_queueLock) = 0;
    NubrixFrameCallback m_callback NUBRIX_GUARDED_BY(m_queueLock) = nullptr;
    void *m_userData NUBRIX_GUARDED_BY(m_queueLock) = nullptr;

    // Last: they end before what they use.
    std::unique_ptr<ThreadWrapper> m_streamWorker;
    CallbackWorker m_callbackWorker;
};

}  // namespace nubrix
