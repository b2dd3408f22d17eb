// An open virtual camera: its modes, properties and streams.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>

#include "common/CameraProperties.h"
#include "nubrix/driver.h"
#include "virtual/CameraClock.h"
#include "virtual/FrameSource.h"

namespace nubrix::virtual_camera {

/// A VirtualTruth record: the caller writes a pixel and a frame index of the current depth mode,
/// the camera writes the true depth. Read only.
constexpr unsigned int kPropertyTruth = 0x5700;

/// 8 bytes: the position in a recording, in microseconds since its first frame, of the frame that
/// comes next. Writing it moves all streams there.
constexpr unsigned int kPropertyPlayTime = 0x5800;

/// Plus a stream type: 4 bytes, the index of the frame of that stream that comes next. Writing it
/// moves all streams to the time of that frame.
constexpr unsigned int kPropertyPlayFrame = 0x5900;

struct VirtualTruth {
    unsigned int frameIndex;
    unsigned int x;
    unsigned int y;
    unsigned int reserved;
    double depthMm;
};

static_assert(sizeof(VirtualTruth) == 24, "truth record");

class VirtualCamera;
class VirtualStream;

/// Created by VirtualCamera::open. Thread-safe, as long as each stream is used by one thread at a
/// time.
class VirtualDevice final : public NubrixBaseDevice {
public:
    static constexpr int kKind = 1;

    explicit VirtualDevice(VirtualCamera &camera);
    ~VirtualDevice() override;

    /// -4 for a type that the camera does not have, -2 when its stream exists already, -9 when the
    /// camera has been unplugged.
    int createStream(unsigned int streamType, NubrixBaseStream **stream) override;
    int destroyStream(NubrixBaseStream **stream) override;
    int closeAllStreams() override;
    int setProperty(unsigned int id, const void *data, unsigned int size) override;
    int getProperty(unsigned int id, void *data, unsigned int *size) override;
    int deviceState() override;
    int keepLiveState() override;
    int getSupportFrameMode(unsigned int streamType, const typedefNubrixFrameMode **modes,
                            unsigned int *count) override;
    /// -4 for a mode that is not in the table, -2 while the stream runs.
    int setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode,
                     bool restart) override;
    typedefNubrixFrameMode *getCurrentFrameMode(unsigned int streamType) override;
    const char *getDeviceId() override;
    NubrixBaseUpgrade *createUpgradeIntance() override;
    int getDeviceKind() override { return kKind; }

    VirtualCamera &camera() { return m_camera; }
    const std::shared_ptr<OpenState> &state() const { return m_state; }
    typedefNubrixFrameMode mode(unsigned int streamType) const;

    /// Called when the camera is unplugged; permanent. Any thread.
    void disconnect() { m_state->gone = true; }
    bool isGone() const { return m_state->gone; }
    /// Makes the streams check at once for an upgrade or a seek. Any thread.
    void wakeStreams();

private:
    struct Slot {
        unsigned int type;
        typedefNubrixFrameMode mode;
        typedefNubrixFrameMode shown;  // handed out: the application may write to it
        std::unique_ptr<VirtualStream> stream;
    };

    Slot *slotOf(unsigned int streamType);
    const Slot *slotOf(unsigned int streamType) const;
    int getTruth(void *data);
    bool isPlayPosition(unsigned int id) const;
    std::uint32_t nextFrame(const Slot &slot) const;
    int getPlayPosition(unsigned int id, void *data, unsigned int *size);
    int seek(unsigned int id, const void *data, unsigned int size);

    VirtualCamera &m_camera;
    const std::shared_ptr<OpenState> m_state = std::make_shared<OpenState>();
    std::atomic<unsigned int> m_streamFlagMode{1};
    mutable std::mutex m_lock;
    std::array<Slot, 4> m_slots;  // modes and streams under m_lock
};

}  // namespace nubrix::virtual_camera
