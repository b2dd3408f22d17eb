// One opened camera: the object behind a device handle.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <string>

#include "base/Mutex.h"
#include "nubrix/driver.h"
#include "stream/Sensor.h"

namespace nubrix {

class VideoStream;

/// Wraps the driver's device and keeps one sensor for each stream type. Its streams keep it alive,
/// also when it is closed. createStream is called under the context's API lock, everything else by
/// any thread. Statuses of the driver are passed on unchanged; -3 where the driver's device is
/// gone.
class Device : public std::enable_shared_from_this<Device> {
public:
    explicit Device(NubrixBaseDriver &driver);
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;
    /// Close it first: the driver's streams are returned only while it is open.
    virtual ~Device();

    int open(const char *uri);
    int open2(unsigned int vid, unsigned int pid, unsigned int fd, const char *path);
    /// True for the first caller, who may close the device. From then on it makes no streams.
    /// Thread-safe.
    bool beginClose();
    /// Closing has failed and may be retried.
    void cancelClose() { m_closing = false; }
    /// 0 when it was not open, else what the driver returned; closed either way, but not when it
    /// throws. Waits for calls into the driver's device and its streams; later ones fail.
    int close();

    /// A new stream on the sensor of a type (not above 63), null when the camera is disconnected or
    /// not open (see the error number). The caller owns it.
    VideoStream *createStream(unsigned int streamType);
    void destroyStream(VideoStream *stream);
    void stopSensors();
    void closeAllStreams();

    NubrixBaseStream *createDriverStream(unsigned int streamType);
    void destroyDriverStream(NubrixBaseStream *stream);
    void setStreamOpenedState(unsigned int streamType, bool opened);

    int setProperty(unsigned int id, const void *data, unsigned int size);
    int getProperty(unsigned int id, void *data, unsigned int *size);
    /// False when the driver does not count the frames of that type.
    bool getStreamCounters(unsigned int streamType, NubrixStreamCounters &counters);
    int propertyTranspraentTransmission(unsigned char *in, unsigned int inSize, unsigned char *out,
                                        unsigned int *outSize);
    int setTemperatureParamsFilePath(const char *path);
    int getSupportFrameMode(unsigned int streamType, const typedefNubrixFrameMode **modes,
                            unsigned int *count);
    int setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode, bool restart);
    typedefNubrixFrameMode *getCurrentFrameMode(unsigned int &streamType);
    /// Sets the current mode of a type (not above 63) once more, before a restart of its stream.
    /// Does nothing while another call sets a mode of that type.
    void reapplyFrameMode(unsigned int streamType);
    /// Calls the driver's device; 0, and nothing is written, when it is closed.
    int convertDepthToPointCloud2(const unsigned short *depth, unsigned int width,
                                  unsigned int height, float s, float fx, float fy, float cx,
                                  float cy, typedefNubrixPoint3D *points, unsigned int pixelType,
                                  bool limitRange);

    /// An upgrader from the driver's device; null when it cannot be upgraded. The caller owns it.
    NubrixBaseUpgrade *createUpgradeIntance();

    /// A NubrixDeviceState; disconnected when closed.
    int deviceState() const;
    /// Non-zero while the camera responds; 0 when closed.
    int keepLiveState() const;
    /// What the application holds: this object's address.
    NubrixDevice *handle() { return reinterpret_cast<NubrixDevice *>(this); }
    const std::string &deviceId() const { return m_deviceId; }
    int deviceKind() const { return m_deviceKind; }

private:
    // The driver's device, which is not closed while this exists; null when it is closed. No lock
    // is held meanwhile.
    class InUse final {
    public:
        explicit InUse(const Device &device) : m_device(device)
        {
            ++device.m_users;
            m_driverDevice = device.m_driverDevice;
        }
        /// Sets the error number when it is closed.
        InUse(const Device &device, unsigned int errorWithout);
        ~InUse()
        {
            if (--m_device.m_users == 0 && !m_device.m_driverDevice)
                m_device.notifyUnused();
        }
        InUse(const InUse &) = delete;
        InUse &operator=(const InUse &) = delete;
        NubrixBaseDevice *operator->() const { return m_driverDevice; }
        explicit operator bool() const { return m_driverDevice != nullptr; }

    private:
        const Device &m_device;
        NubrixBaseDevice *m_driverDevice;
    };

    // A call that sets a mode, which may write the driver's record of it.
    class SettingMode final {
    public:
        SettingMode(Device &device, unsigned int streamType);
        ~SettingMode() { m_device.endSettingMode(m_streamType); }
        SettingMode(const SettingMode &) = delete;
        SettingMode &operator=(const SettingMode &) = delete;

    private:
        Device &m_device;
        const unsigned int m_streamType;
    };

    bool isDisconnected() const;
    bool isConflictWithOpenedStreams(unsigned int streamType) const;
    void adopt(NubrixBaseDevice *driverDevice, const char *uri);
    InUse inUse() const { return InUse(*this); }
    /// Like inUse, and sets the error number when it is closed.
    InUse requireOpen() const;
    void notifyUnused() const;
    NubrixBaseDevice *takeDriverDevice();
    void beginSettingMode(unsigned int streamType);
    void endSettingMode(unsigned int streamType);
    bool copyMode(unsigned int streamType, const typedefNubrixFrameMode &record,
                  typedefNubrixFrameMode &copy);

    std::string m_deviceId;
    int m_deviceKind = 255;
    std::atomic<bool> m_opened{false};
    std::atomic<bool> m_closing{false};
    NubrixBaseDriver &m_driver;
    // A use counts itself before it reads the device, and a close takes the device before it reads
    // the count, so that one of them notices the other. Without a lock: a wait for many streams
    // uses the device of each for every frame.
    std::atomic<NubrixBaseDevice *> m_driverDevice{nullptr};  // the driver's
    mutable std::atomic<unsigned int> m_users{0};             // of m_driverDevice
    mutable Mutex m_closeMutex;                               // of the close that waits for them
    mutable std::condition_variable m_unused;
    std::array<unsigned char, 255> m_streamOpened = {};  // by stream type
    Mutex m_modeMutex;  // never held during a call of the driver, which may report a device state
    std::array<unsigned int, 64> m_modeSetters NUBRIX_GUARDED_BY(m_modeMutex) = {};  // by type
    // By stream type, made on first use. Last: destroyed sensors return their streams.
    std::array<std::unique_ptr<Sensor>, 64> m_sensors;
};

}  // namespace nubrix
