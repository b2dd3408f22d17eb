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
#include "net/CameraWorkers.h"
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
    /// holds it and does not release it in time, -1 when its description cannot be used. Logs why.
    /// One that sends no frames is opened, without streams. Waits for a camera that is held as long
    /// as the settings say; no longer than kOpening after `begin`. Any thread; may block.
    static int open(const std::string &address, CameraState::Clock::time_point begin,
                    const NetSettings &settings, CameraWorkers &workers,
                    std::unique_ptr<NetDevice> &device);
    /// Does not wait for its worker, which releases the camera and ends: see CameraWorkers.
    ~NetDevice() override;

    int createStream(unsigned int streamType, NubrixBaseStream **stream) override;
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
    ArvCamera *camera() const { return m_worker->camera(); }
    typedefNubrixFrameMode modeOf(unsigned int streamType) const;
    /// All but where the frames go.
    StreamSetup setupOf(unsigned int streamType) const;
    /// Makes the stream the only one of the camera; false when another one is.
    bool claimCamera(const NetStream &stream);
    void releaseCamera(const NetStream &stream);
    /// When a call of the application that begins now must be done.
    static CameraState::Clock::time_point callEnd() { return CameraState::Clock::now() + kCall; }
    /// Waits for a task with this end; false when it is late all the same.
    template <class Result>
    bool await(const std::future<Result> &task, CameraState::Clock::time_point end) const;

    static constexpr std::chrono::milliseconds kOpening{2450};
    static constexpr std::chrono::milliseconds kCall{850};

private:
    static constexpr std::chrono::milliseconds kGrace{100};  // of a task whose end has come
    static constexpr std::chrono::milliseconds kFarewell{500};

    struct Slot {
        typedefNubrixFrameMode current;
        typedefNubrixFrameMode shown;  // handed out: whoever has it may write to it
        std::unique_ptr<NetStream> stream;
    };

    NetDevice(const std::string &address, const NetSettings &settings, CameraWorkers &workers);

    int connect();
    int connectCamera();
    int tellFailed(const Error &error);
    void tellStuck() const;
    void readIdentity();
    int slotNumber(unsigned int streamType) const;
    int access(FeatureRequest request, Bytes &value, CameraState::Clock::time_point end);
    int getIntrinsics(unsigned int streamType, void *data, unsigned int *size);
    int getCounters(unsigned int streamType, void *data, unsigned int *size);

    const std::string m_address;  // fixed after construction, as is what follows after connect
    const std::string m_uri;
    const std::string m_local;  // address of this machine
    const ObjectPtr<GInetAddress> m_remote;
    const NetSettings m_settings;
    const std::shared_ptr<CameraState> m_state;
    NubrixVersions m_versions = {};
    CameraModes m_modes;
    Sensor m_sensor = {};
    std::atomic<unsigned int> m_streamFlagMode{1};
    std::atomic<unsigned int> m_incomplete;
    mutable std::mutex m_lock;
    std::array<Slot, 3> m_slots = {};  // both under m_lock
    const NetStream *m_claim = nullptr;
    const std::shared_ptr<CameraWorker> m_worker;
};

template <class Result>
bool NetDevice::await(const std::future<Result> &task, CameraState::Clock::time_point end) const
{
    if (task.wait_until(end + kGrace) == std::future_status::ready)
        return true;
    tellStuck();
    return false;
}

}  // namespace nubrix
