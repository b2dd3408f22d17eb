// One opened network camera.
#pragma once

#include <atomic>
#include <future>
#include <memory>
#include <string>

#include "common/DriverDevice.h"
#include "net/CameraModes.h"
#include "net/CameraMonitor.h"
#include "net/CameraWorker.h"
#include "net/Genicam.h"
#include "net/Gvcp.h"
#include "net/NetSettings.h"
#include "net/NetStream.h"

namespace nubrix::net {

/// Property of 4 bytes: 1 when incomplete frames are delivered, with a flag, 0 when they are
/// dropped. Takes effect when a stream starts.
constexpr unsigned int kPropertyIncomplete = 0x5b00;

/// An opened camera; its destruction closes it. Only its worker accesses the camera. Thread-safe.
class NetDevice final : public DriverDevice {
public:
    /// Opens the camera at an address: -9 when it does not answer, -2 when another application
    /// has its control and does not release it in time, -1 when its description cannot be used.
    /// Logs the reason. A camera without a known pixel format is opened, without streams. Waits for
    /// the release of the control as long as the settings allow, and no longer than kOpenTimeout
    /// after `begin`. Any thread; may block.
    static int open(const std::string &address, CameraState::Clock::time_point begin,
                    const NetSettings &settings, CameraWorkers &workers,
                    std::unique_ptr<NetDevice> &device);
    /// Does not wait until its worker has released the camera and ended: see CameraWorkers.
    ~NetDevice() override;

    int setProperty(unsigned int id, const void *data, unsigned int size) override;
    int getProperty(unsigned int id, void *data, unsigned int *size) override;
    int propertyTranspraentTransmission(unsigned char *in, unsigned int inSize, unsigned char *out,
                                        unsigned int *outSize) override;
    int getDeviceKind() override { return 2; }
    bool isGone() override { return m_state->isGone(); }

    const std::shared_ptr<CameraState> &state() const { return m_state; }

    // For the streams of this device:

    CameraWorker &worker() { return *m_worker; }
    /// For use by tasks of the worker.
    ArvCamera *camera() const { return m_worker->camera(); }
    /// The setup of a session, without allocator and callback.
    StreamSetup setupOf(unsigned int streamType) const;
    /// Reserves the camera for a stream; false when another stream has it.
    bool claimCamera(const NetStream &stream);
    void releaseCamera(const NetStream &stream);
    /// The deadline of a call of the application that begins now.
    static CameraState::Clock::time_point callDeadline()
    {
        return CameraState::Clock::now() + kCallTimeout;
    }
    /// Waits for a task with this deadline; false, with a line in the log, when it is late.
    template <class Result>
    bool await(const std::future<Result> &task, CameraState::Clock::time_point deadline) const;

    static constexpr std::chrono::milliseconds kOpenTimeout{2450};
    static constexpr std::chrono::milliseconds kCallTimeout{850};

private:
    static constexpr std::chrono::milliseconds kGrace{100};  // for a task after its deadline
    static constexpr std::chrono::milliseconds kReleaseTimeout{500};

    NetDevice(const std::string &address, const NetSettings &settings, CameraWorkers &workers);

    int connect();
    int connectCamera();
    int reportConnectError(const Error &error);
    void reportSlow() const;
    void readIdentity();
    const StreamModes &modesOf(unsigned int streamType) const;
    std::shared_ptr<DriverStream> newStream(unsigned int streamType) override;
    NubrixVersions versions() const override { return m_versions; }
    int access(FeatureRequest request, Bytes &value, CameraState::Clock::time_point deadline);
    int getIntrinsics(unsigned int streamType, void *data, unsigned int *size);

    const std::string m_address;  // fixed after construction, as is what follows after connect
    const std::string m_local;    // address of this machine on the camera's network
    const ObjectPtr<GInetAddress> m_remote;
    const NetSettings m_settings;
    const std::shared_ptr<CameraState> m_state;
    NubrixVersions m_versions = {};
    CameraModes m_modes;
    Sensor m_sensor = {};
    std::atomic<unsigned int> m_incomplete;
    std::atomic<const NetStream *> m_claim{nullptr};
    const std::shared_ptr<CameraWorker> m_worker;
};

template <class Result>
bool NetDevice::await(const std::future<Result> &task,
                      CameraState::Clock::time_point deadline) const
{
    if (task.wait_until(deadline + kGrace) == std::future_status::ready)
        return true;
    reportSlow();
    return false;
}

}  // namespace nubrix::net
