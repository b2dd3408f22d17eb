// A running stream of a network camera, from its start to its stop.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

#include "common/FramePtr.h"
#include "common/RunningCounters.h"
#include "net/Arrivals.h"
#include "net/CameraSetup.h"
#include "net/CameraState.h"
#include "net/FrameConverter.h"
#include "net/FrameNumbers.h"
#include "net/GLibPtr.h"
#include "net/PictureWatch.h"
#include "nubrix/driver.h"

namespace nubrix::net {

/// What a session sets the camera to, and where its frames go.
struct StreamSetup : CameraSetup {
    unsigned int streamType;
    bool deliversIncomplete;
    unsigned int room;                       ///< bytes of a frame of the allocator
    FrameAllocatorInterfaceBase *allocator;  ///< this and the next two: until the end only
    DriverFrameCallback callback;
    void *user;
};

/// Lives as long as the camera's worker has something to do for it.
class StreamSession {
public:
    StreamSession(StreamSetup setup, std::shared_ptr<CameraState> state);
    ~StreamSession();
    StreamSession(const StreamSession &) = delete;
    StreamSession &operator=(const StreamSession &) = delete;

    /// Sets the camera up and starts it. Returns a status and says why. Driver thread only.
    int begin(ArvCamera &camera);
    /// No frame is delivered or held from now on; from within its frame callback none is delivered
    /// again, and what is held goes when that returns. Does not talk to the camera. Any thread; may
    /// block.
    void end();
    /// Stops the camera. Driver thread only.
    void stopCamera(ArvCamera &camera);
    /// Releases what begin took; after end. Driver thread only.
    void tearDown();

    /// Its frame callback has not returned. Thread-safe.
    bool isDelivering() const { return m_isDelivering; }
    /// This thread is in the frame callback of some session. Thread-safe.
    static bool isInCallback() { return t_delivering != nullptr; }
    /// It runs, and no picture of use has come for too long. Thread-safe.
    bool isSilent() const { return m_watch.isSilent(); }
    /// Thread-safe.
    StreamCounters counters() const;
    /// Tells what was lost, if anything. Thread-safe.
    void reportLosses() const noexcept;

private:
    void shareWithAravis();
    static void onStream(void *session, ArvStreamCallbackType type, ArvBuffer *buffer);

    int prepare(ArvCamera &camera);
    int pushBuffers(ArvStream &stream);
    ArvBuffer *newBuffer();
    void takeBuffer();
    bool isUsable(ArvBuffer &buffer);
    void tellSilence() const noexcept;
    std::string causeOfSilence() const;
    void deliver(ArvBuffer &buffer, NubrixFrameRef &frame);

    const StreamSetup m_setup;
    const std::shared_ptr<CameraState> m_state;
    std::unique_ptr<const FrameConverter> m_converter;  // the first three: fixed by begin
    std::size_t m_payload = 0;
    bool m_isDirect = false;  // frames are filled in place
    FrameNumbers m_numbers;   // this and the next two: of the stream's thread
    bool m_isLastIncomplete = false;
    Arrivals m_arrivals;
    static thread_local const StreamSession *t_delivering;
    std::atomic<bool> m_isDelivering{false};
    std::atomic<unsigned int> m_handOver{0};
    std::mutex m_lock;               // of beginning and tearing down against ending
    bool m_isThreadStopped = false;  // under m_lock
    std::atomic<ArvStream *> m_stream{nullptr};
    std::atomic<bool> m_ended{false};
    RunningCounters m_counters;
    std::string m_misshape;  // of the first of those that are counted here
    std::atomic<unsigned int> m_misshapen{0};
    PictureWatch m_watch;
};

}  // namespace nubrix::net
