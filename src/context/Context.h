// The context: guards and delegations, one source file a concern.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/CriticalSectionWrapper.h"
#include "base/ReentrantLock.h"
#include "context/DeviceEvents.h"
#include "context/DeviceRecords.h"
#include "context/DriverTable.h"
#include "context/Gate.h"
#include "context/HandleTable.h"
#include "context/LifeTurns.h"
#include "context/Upgrades.h"
#include "context/Waiters.h"
#include "device/Device.h"
#include "nubrix/context.h"
#include "nubrix/ledger.h"
#include "record/StreamRecorder.h"
#include "stream/VideoStream.h"

namespace nubrix {

int refuseUninitialized();

class Context : public NubrixBaseContext {
public:
    Context();
    ~Context() override;

    // Context.cpp
    int initialize() override;
    int destroy() override;

    // ContextLogging.cpp
    int setLogFileSavePath(const char *folder) override;

    // ContextDevices.cpp
    int setDeviceStateCallback(NubrixDeviceStateCallback callback, void *user) override;
    int nubrixGetDeviceList(typedefNubrixeviceAttribute **list, unsigned int *count) override;
    int copyDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count);
    int nubrixGetGmslDeviceList(_NubrixGmslDeviceInfo **list, unsigned int *count) override;
    typedefNubrixeviceAttribute *getDeviceAttributeByUri(const char *uri) override;
    int openDevice(const char *uri, NubrixDevice **device) override;
    int openDevice2(unsigned int vid, unsigned int pid, unsigned int fd, const char *path,
                    NubrixDevice **device) override;
    int setDufDeviceFd(unsigned int vid, unsigned int pid, unsigned int fd,
                       const char *path) override;
    int closeDevice(NubrixDevice *handle) override;

    // ContextProperties.cpp
    int getSupportFrameMode(NubrixDevice *handle, unsigned int streamType,
                            const typedefNubrixFrameMode **modes, unsigned int *count) override;
    int setFrameMode(NubrixDevice *handle, unsigned int streamType,
                     typedefNubrixFrameMode &mode) override;
    typedefNubrixFrameMode *getCurrentFrameMode(NubrixDevice *handle,
                                                unsigned int streamType) override;

    // ContextStreams.cpp, ContextWait.cpp
    int openStream(NubrixDevice *handle, unsigned int streamType, NubrixStream **stream,
                   NubrixFrameCallback callback, void *user) override;
    int closeStream(NubrixStream *handle) override;
    int waitForStreams(NubrixStream **handles, int count, NubrixStream **ready,
                       int timeoutMs) override;
    int readFrame(NubrixStream *handle, typedefNubrixFrame **frame, int timeoutMs) override;
    int releaseFrame(typedefNubrixFrame *frame) override;

    // ContextProperties.cpp
    int setDeviceProperty(NubrixDevice *handle, unsigned int id, const void *data,
                          unsigned int size) override;
    int getDeviceProperty(NubrixDevice *handle, unsigned int id, void *data,
                          unsigned int *size) override;
    int propertyTranspraentTransmission(NubrixDevice *handle, unsigned char *in,
                                        unsigned int inSize, unsigned char *out,
                                        unsigned int *outSize) override;
    int setStreamFlagMode(NubrixDevice *handle, unsigned int mode) override;

    // ContextRecording.cpp
    int createRecorder(const char *path, NubrixRecord **recorder) override;
    int recorderAttachStream(NubrixRecord *recorder, NubrixStream *stream) override;
    int recorderStart(NubrixRecord *recorder) override;
    int recorderStop(NubrixRecord *recorder) override;
    int destroyRecorder(NubrixRecord *recorder) override;

    // ContextProperties.cpp, ContextLogging.cpp
    int setTemperatureParamsFilePath(NubrixDevice *handle, const char *path) override;
    int setLogLevel(unsigned int level) override;
    int setLogFolder(const char *folder) override;
    int getVersion(NubrixDevice *handle, NubrixVersions *versions) override;
    NUBRIX_API void setErrorCode(NubrixErrorCode code) override;
    int logInfo(NubrixLogLevel level, const char *format, ...) override;

    // ContextPhoto.cpp, ContextPointCloud.cpp, ContextUpgrade.cpp
    int takePhoto(const char *path) override;
    int convertDepthToPointCloud(const unsigned short *depth, unsigned int width,
                                 unsigned int height, float s, float fx, float fy, float cx,
                                 float cy, typedefNubrixPoint3D *points, unsigned int pixelType,
                                 bool limitRange) override;
    int convertDepthToPointCloud2(NubrixDevice *device, const unsigned short *depth,
                                  unsigned int width, unsigned int height, float s, float fx,
                                  float fy, float cx, float cy, typedefNubrixPoint3D *points,
                                  unsigned int pixelType, bool limitRange) override;
    int convertDepthToPointCloudWithRGBA(const unsigned short *depth, unsigned int width,
                                         unsigned int height, float s, float fx, float fy, float cx,
                                         float cy, typedefNubrixPoint3D *points,
                                         typedefNubrixRGBA *colours, unsigned int pixelType,
                                         bool limitRange) override;
    int deviceStartUpgradeOffLine(NubrixDevice *device,
                                  const typedefNubrixUpgradeCallbacks *callbacks,
                                  const char *file) override;
    int setDeviceStatusChange(int event, int detail, const char *path, unsigned int state) override;

    int setStreamCallback(NubrixStream *handle, NubrixFrameCallback callback, void *user) override;
    int setGmslI2CStats(bool on) override;
    int setGmslI2CAddress(std::string address) override;

    // Beyond the public interface.
    virtual int createStream(NubrixDevice *handle, unsigned int streamType, NubrixStream **stream);
    virtual int destroyStream(NubrixStream *handle);
    virtual int startStream(NubrixStream *handle);
    virtual int stopStream(NubrixStream *handle);

    /// nubrixStreamLedger of this context.
    int streamLedger(NubrixStream *handle, NubrixStreamLedger *ledger);

    /// Writes the library's folder with a "/" at its end. 0, or -1 when it is not known.
    int GetConfigFileBasePath(char *buffer, unsigned int size);
    /// Sets NUBRIX_WORKING_PATH and NUBRIX_INI_FILE_PATH. Returns 0.
    int initConfigFilePath();
    /// Applies nubrixLog.ini, fills it up with defaults unless it is below /usr, and applies the
    /// administrator's. Returns the result of the log plug-in.
    int readConfigLogMode();

    /// What the drivers call when a camera arrives or leaves; `user` is the context.
    static void deviceStateCallback(const char *deviceAddr, const char *serial,
                                    const char *location, unsigned int state, void *user);
    void onDeviceState(const char *deviceAddr, const char *serial, const char *location,
                       unsigned int state);

private:
    // How an operation runs: see ContextGuards.h.
    template <class Body>
    auto inside(Body body, int (*refuse)() = &refuseUninitialized) -> decltype(body());
    template <class Body>
    auto underLock(Body body) -> decltype(body());
    template <class Body>
    auto onDevice(NubrixDevice *handle, Body body);
    template <class Body>
    auto onRecorder(NubrixRecord *handle, Body body);
    template <class Body>
    auto onStream(NubrixStream *handle, Body body);

    void endWaits();
    int startUp();
    int tearDown();
    int releaseAllResoures();
    void releaseRecorders();
    void releaseStreams();
    void releaseDevices();
    void releaseDrivers();
    void loadDriverOf(DRIVER_TYPE type, const char *success);
    int initializeDrivers();
    void abandonObjects();
    int findCamera(const char *uri, std::string &path, NubrixBaseDriver *&driver);
    NubrixDevice *keep(const std::shared_ptr<Device> &device);
    bool upgraderHandles(const char *deviceAddr, const char *serial, const char *location,
                         unsigned int state);
    void notifyApplication(const char *deviceAddr, const char *serial, unsigned int state);

    int closeStreamsOfDevice(const Device &device);
    bool shutDown(const std::shared_ptr<VideoStream> &stream);
    using Streams = std::vector<std::shared_ptr<VideoStream>>;
    int waitForFrame(const std::shared_ptr<VideoStream> &stream, int timeoutMs);
    int waitFor(const Streams &streams, NubrixStream **ready, int timeoutMs);
    int waitStreamsUtilTimeout(const Streams &streams, MultiStreamsListener &listener,
                               NubrixStream **ready, unsigned int ms);

    int copyColourFrame(typedefNubrixFrame &frame, std::vector<unsigned char> &pixels);
    bool findUpgrader(NubrixDevice *handle, const std::shared_ptr<Device> &device,
                      std::shared_ptr<NubrixBaseUpgrade> &upgrader);

    Context *m_nextExisting = nullptr;  // in the list of all contexts, which Context.cpp guards
    Gate m_gate;
    LifeTurns m_turns;
    ReentrantLock m_frameReadLock;  // readFrame, and the deletion of a stream
    const std::unique_ptr<CriticalSectionWrapper> m_apiLock;
    std::atomic<bool> m_initialized{false};
    const std::map<unsigned int, std::string> m_streamNames;  // fixed after construction

    // Each is thread-safe.
    DriverTable m_drivers;
    DeviceRecords m_records;
    HandleTable<Device> m_devices;
    HandleTable<VideoStream> m_streams;
    HandleTable<StreamRecorder> m_recorders;
    Waiters m_waiters;
    Upgrades m_upgrades;
    DeviceEvents m_events;
};

}  // namespace nubrix
