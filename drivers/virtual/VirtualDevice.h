// An open virtual camera: its modes, properties and streams.
#pragma once

#include <cstdint>
#include <memory>

#include "common/CameraProperties.h"
#include "common/DriverDevice.h"
#include "nubrix/driver.h"
#include "virtual/CameraClock.h"

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

/// Created by VirtualCamera::open. Thread-safe, as long as each stream is used by one thread at a
/// time.
class VirtualDevice final : public DriverDevice {
public:
    static constexpr int kKind = 1;

    explicit VirtualDevice(VirtualCamera &camera);
    ~VirtualDevice() override;

    int setProperty(unsigned int id, const void *data, unsigned int size) override;
    int getProperty(unsigned int id, void *data, unsigned int *size) override;
    int keepLiveState() override;
    NubrixBaseUpgrade *createUpgradeIntance() override;
    int getDeviceKind() override { return kKind; }
    bool isGone() override { return m_state->gone; }

    VirtualCamera &camera() { return m_camera; }
    const std::shared_ptr<OpenState> &state() const { return m_state; }

    /// Called when the camera is unplugged; permanent. Any thread.
    void disconnect() { m_state->gone = true; }
    /// Makes the streams check at once for an upgrade or a seek. Any thread.
    void wakeStreams();

private:
    std::shared_ptr<DriverStream> newStream(unsigned int streamType) override;
    NubrixVersions versions() const override;

    int getIntrinsics(unsigned int streamType, void *data, unsigned int *size) const;
    int getTruth(void *data, unsigned int *size) const;
    bool isPlayPosition(unsigned int id) const;
    std::uint32_t nextFrame(unsigned int streamType) const;
    std::uint64_t playTime() const;
    int getPlayPosition(unsigned int id, void *data, unsigned int *size) const;
    int seek(unsigned int id, const void *data, unsigned int size);

    VirtualCamera &m_camera;
    const std::shared_ptr<OpenState> m_state = std::make_shared<OpenState>();
};

}  // namespace nubrix::virtual_camera
