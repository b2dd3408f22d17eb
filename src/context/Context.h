// The context: guards and delegations, one source file a concern.
#pragma once

#include <atomic>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/CriticalSectionWrapper.h"
#include "base/ReentrantLock.h"
#include "context/InFlight.h"
#include "context/StreamRegistry.h"
#include "nubrix/context.h"
#include "nubrix/driver.h"

namespace nubrix {

class MultiStreamsListener;
class StreamRecorder;

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
    int nubrixGetGmslDeviceList(_NubrixGmslDeviceInfo **list, unsigned int *count) override;
    typedefNubrixeviceAttribute *getDeviceAttributeByUri(const char *uri) override;
    int openDevice(const char *uri, NubrixDevice **device) override;
    int openDevice2(unsigned int vid, unsigned int pid, unsigned int fd, const char *path,
                    NubrixDevice **device) override;
    int setDufDeviceFd(unsigned int a, unsigned int b, unsigned int c, const char *d) override;
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
    void setErrorCode(NubrixErrorCode code) override;
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
    int setDeviceStatusChange(int a, int b, const char *path, unsigned int d) override;

    int setStreamCallback(NubrixStream *handle, NubrixFrameCallback callback, void *user) override;
    int setGmslI2CStats(bool on) override;
    int setGmslI2CAddress(std::string address) override;

    // Beyond the public interface.
    virtual int createStream(NubrixDevice *handle, unsigned int streamType, NubrixStream **stream);
    virtual int destroyStream(NubrixStream *handle);
    virtual int startStream(NubrixStream *handle);
    virtual int stopStream(NubrixStream *handle);

    /// Writes the library's folder with a "/" at its end. 0, or -1 when the loader does not know
    /// it.
    int GetConfigFileBasePath(char *buffer, unsigned int size);
    /// Sets NUBRIX_WORKING_PATH and NUBRIX_INI_FILE_PATH. Returns 0.
    int initConfigFilePath();
    /// Applies nubrixLog.ini and fills it up with defaults. Returns what the log plug-in answers.
    int readConfigLogMode();

    /// What the drivers call when a camera comes or goes; `user` is the context.
    static void deviceStateCallback(const char *deviceAddr, const char *serial,
                                    const char *location, unsigned int state, void *user);
    void onDeviceState(const char *deviceAddr, const char *serial, const char *location,
                       unsigned int state);

private:
    static constexpr unsigned int kMaxDevices = 60;

    // Holds the API lock for one operation. While destroy runs, an operation on a callback thread
    // does not wait for the lock, because destroy waits for that thread; it is refused.
    class ApiLock final {
    public:
        explicit ApiLock(Context &context);
        ~ApiLock();
        ApiLock(const ApiLock &) = delete;
        ApiLock &operator=(const ApiLock &) = delete;
        bool refused() const { return m_refused; }

    private:
        Context &m_context;
        std::optional<InFlight::Entry> m_entry;
        bool m_refused = false;
    };

    // The guards. Each says everything about a refusal and returns its status, 0 to go on.
    static int refuseUninitialized();
    static int refuseDevice();
    int requireInitialized() const;
    int requireInitialized(const ApiLock &lock) const;
    int requireDevice(const ApiLock &lock, NubrixDevice *handle, Device *&device) const;
    int requireOpenDevice(NubrixDevice *handle, Device *&device) const;
    std::shared_ptr<StreamRecorder> requireRecorder(NubrixRecord *handle);
    // Nothing when the handle is unknown, which is reported; the operation then returns -13.
    StreamRegistry::Pin requireStream(NubrixStream *handle);

    int releaseAllResoures();
    void releaseRecorders();
    void releaseStreams();
    void releaseStateCallbacks();
    void releaseDevices();
    void releaseDrivers();
    void releaseUpgraders();
    void loadDriverOf(DRIVER_TYPE type, const char *success);
    int initializeDrivers();

    NubrixBaseDriver *driverOf(DRIVER_TYPE type);
    std::vector<std::pair<DRIVER_TYPE, NubrixBaseDriver *>> drivers();
    int listDevicesOf(NubrixBaseDriver &driver);
    int resolveUri(const char *uri, std::string &path, NubrixBaseDriver *&driver);
    bool isGmslPath(const char *path) const;
    typedefNubrixeviceAttribute *findRecord(const char *uri);
    NubrixBaseDriver *driverForIdentifiers(unsigned int vid, unsigned int pid);
    bool isOpen(const std::string &path) const;
    bool isDropped();
    bool upgraderTakes(const char *deviceAddr, const char *serial, const char *location,
                       unsigned int state);
    std::unique_ptr<NubrixBaseUpgrade> takeUpgraderOf(NubrixDevice *handle);
    static void logAdvice(const char *deviceAddr);
    void rebuildDeviceTable();
    void notifyApplication(const char *deviceAddr, const char *serial, unsigned int state);

    std::list<std::shared_ptr<StreamRecorder>> recorders();
    unsigned int frameTypeOf(NubrixStream *handle);
    void detachFromRecorders(NubrixStream *handle);
    int closeStreamsOfDevice(Device *device);
    typedefNubrixFrame *internalReadStreamFrame(VideoStream *stream);
    std::shared_ptr<MultiStreamsListener> listenerOfThisThread();
    int waitInSlices(NubrixStream **handles, int count, MultiStreamsListener &listener,
                     NubrixStream **ready, int timeoutMs);
    int waitStreamsUtilTimeout(NubrixStream **handles, int count, MultiStreamsListener *listener,
                               NubrixStream **ready, int ms);
    bool canWaitOn(NubrixStream **handles, int count);
    bool checkIfAnyDeviceConnected(NubrixStream **handles, int count);
    bool checkIfDeviceKeepLiveOK(NubrixStream **handles, int count);

    ReentrantLock m_frameReadLock;  // readFrame, and the end of a stream
    std::atomic<bool> m_initialized{false};
    std::atomic<bool> m_destroying{false};  // until the next initialize has ended
    InFlight m_inFlight;                    // what destroy waits for before it takes the API lock
    std::unique_ptr<CriticalSectionWrapper> m_apiLock;
    std::unique_ptr<CriticalSectionWrapper> m_leafLock;   // nothing is called while it is held
    std::unique_ptr<CriticalSectionWrapper> m_thirdLock;  // no user; gone after the first destroy

    const std::map<unsigned int, std::string> m_streamNames;  // fixed after construction

    // Under the API lock.
    std::list<Device *> m_devices;
    std::map<NubrixDevice *, NubrixBaseUpgrade *> m_upgraders;
    std::atomic<NubrixBaseUpgrade *> m_activeUpgrader{nullptr};

    // Under the leaf lock.
    using Registration = std::pair<NubrixDeviceStateCallback, void *>;
    std::list<Registration> m_stateCallbacks;
    bool m_changedMeanwhile = false;  // cameras, while the next initialize was under way
    StreamRegistry m_streams;
    std::list<std::shared_ptr<StreamRecorder>> m_recorders;
    std::map<unsigned int, std::shared_ptr<MultiStreamsListener>> m_listeners;  // by thread
    std::map<DRIVER_TYPE, NubrixBaseDriver *> m_drivers;

    // The application reads these tables in place.
    std::recursive_mutex m_tableLock;  // serialises rebuilding and looking up
    typedefNubrixeviceAttribute m_deviceTable[kMaxDevices] = {};
    std::atomic<unsigned int> m_deviceCount{0};
    _NubrixGmslDeviceInfo m_gmslTable[kMaxDevices] = {};
    unsigned int m_gmslCount = 0;
};

}  // namespace nubrix
