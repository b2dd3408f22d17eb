// One opened network camera.
#pragma once

#include <array>
#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <string>

#include "net/CameraModes.h"
#include "net/CameraState.h"
#include "net/CameraWorker.h"
#include "net/FeatureAccess.h"
#include "net/GvcpProbe.h"
#include "net/NetSettings.h"
#include "net/NetStream.h"
#include "net/Region.h"
#include "nubrix/driver.h"

namespace nubrix {

/// Thread-safe; closing is its destruction. Only its worker talks to the camera.
class NetDevice final : public NubrixBaseDevice {
public:
    /// Opens the camera at an address: -9 when it does not answer, -2 when another application
    /// holds it and does not let it go in time, nor what is left of the last opening, -1 when it
    /// does not say what it has. Says why. One that gives no pictures is opened, without streams.
    /// Waits for a camera that is held as long as the settings say, and some seconds for one that
    /// falls silent meanwhile. Any thread; may block.
    static int open(const std::string &address, const NetSettings &settings,
                    std::unique_ptr<NetDevice> &device);
    ~NetDevice() override;

    int createStream(unsigned int streamType, NubrixBaseStream **stream) override;
    /// -2 from within the stream's frame callback, as the next one.
    int destroyStream(NubrixBaseStream **stream) override;
    int closeAllStreams() override;
    int setProperty(unsigned int id, const void *data, unsigned int size) override;
    int getProperty(unsigned int id, void *data, unsigned int *size) override;
    int propertyTranspraentTransmission(unsigned char *in, unsigned int inSize, unsigned char *out,
                                        unsigned int *outSize) override;
    int deviceState() override;
    int keepLiveState() override;
    int getSupportFrameMode(unsigned int streamType, const typedefNubrixFrameMode **modes,
                            unsigned int *count) override;
    int setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode,
                     bool restart) override;
    typedefNubrixFrameMode *getCurrentFrameMode(unsigned int streamType) override;
    const char *getDeviceId() override { return m_uri.c_str(); }
    int getDeviceKind() override { return 2; }

    const std::string &name() const { return m_uri; }
    const std::shared_ptr<CameraState> &state() const { return m_state; }

    // For its streams, which it has.

    CameraWorker &worker() { return *m_worker; }
    /// For tasks of the worker.
    ArvCamera *camera() { return m_camera.get(); }
    typedefNubrixFrameMode modeOf(unsigned int streamType) const;
    /// All but where the frames go.
    StreamSetup setupOf(unsigned int streamType) const;
    /// Makes the stream the only one of the camera; false when another one is.
    bool claimCamera(const NetStream &stream);
    void releaseCamera(const NetStream &stream);
    /// Waits for a task; false, within a second, when the camera does not answer, and when the
    /// worker does not come to an end though it does.
    template <class Result>
    bool await(const std::future<Result> &task) const;

private:
    static constexpr std::chrono::milliseconds kPatience{500};  // with what may be silent
    static constexpr std::chrono::seconds kMost{10};            // with what answers

    struct Slot {
        typedefNubrixFrameMode current;
        typedefNubrixFrameMode shown;  // handed out: whoever has it may write to it
        std::unique_ptr<NetStream> stream;
    };

    NetDevice(const std::string &address, const NetSettings &settings);

    int connect();
    int connectCamera();
    void awaitFarewell();
    bool asksWhetherThere() const;
    void tellStuck() const;
    void readIdentity();
    int slotNumber(unsigned int streamType) const;
    /// Of a stream, or of any where it is null.
    bool isInCallback(const NubrixBaseStream *stream) const;
    int access(FeatureRequest request, Bytes &value);
    int getIntrinsics(unsigned int streamType, void *data, unsigned int *size);
    int getCounters(unsigned int streamType, void *data, unsigned int *size);

    const std::string m_address;  // fixed after construction, as is what follows after connect
    const std::string m_uri;
    const std::string m_local;  // address of this machine
    const NetSettings m_settings;
    const std::shared_ptr<CameraState> m_state;
    ObjectPtr<ArvCamera> m_camera;
    NubrixVersions m_versions = {};
    CameraModes m_modes;
    Sensor m_sensor = {};
    std::atomic<unsigned int> m_streamFlagMode{1};
    std::atomic<unsigned int> m_incomplete;
    mutable std::mutex m_lock;
    std::array<Slot, 3> m_slots = {};  // both under m_lock
    const NetStream *m_claim = nullptr;
    std::unique_ptr<CameraWorker> m_worker;
};

template <class Result>
bool NetDevice::await(const std::future<Result> &task) const
{
    const auto end = CameraState::Clock::now() + kMost;
    do {
        const auto wait = m_state->isSilent() ? std::chrono::milliseconds(0) : kPatience;
        if (task.wait_for(wait) == std::future_status::ready)
            return true;
        if (!asksWhetherThere())
            return task.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    } while (CameraState::Clock::now() < end);
    tellStuck();
    return false;
}

}  // namespace nubrix
