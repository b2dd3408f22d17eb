// A driver that a test scripts, and that records its calls.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "nubrix/driver.h"
#include "tests/fakes/FakeDevice.h"

namespace nubrix {

class FakeStream;

/// What a delivered frame holds; the defaults do for tests that only count.
struct FakeFrame {
    unsigned int index = 0;
    std::vector<unsigned char> pixels = {};
    int width = 0;
    int height = 0;
    unsigned int pixelFormat = NUBRIX_PIXEL_RGB888;
    unsigned long long timestampUs = 0;
    unsigned int flags = 0;
    unsigned int reserved = 0;
    std::optional<unsigned int> streamType = {};  // other than the stream's own
};

/// A record as a driver lists it.
typedefNubrixeviceAttribute cameraRecord(const std::string &uri, int transport = 1,
                                         const std::string &serial = "SN1",
                                         const std::string &location = "1-1");

/// Implements every operation of the three driver interfaces. Thread-safe: a test may script it,
/// deliver frames and raise events from any thread while the library uses it.
class FakeDriver final : public NubrixBaseDriver {
public:
    /// What the operations return. `start` is every stream's.
    struct Results {
        std::atomic<int> initialize{0};
        std::atomic<int> getDeviceList{0};
        std::atomic<int> openDevice{0};
        std::atomic<int> openDeviceByFd{0};
        std::atomic<int> closeDevice{0};
        std::atomic<int> createStream{0};
        std::atomic<int> setProperty{0};
        std::atomic<int> getProperty{0};
        std::atomic<int> transparent{0};
        std::atomic<int> setTemperatureParamsFilePath{0};
        std::atomic<int> getSupportFrameMode{0};
        std::atomic<int> setFrameMode{0};
        std::atomic<int> start{0};
        std::atomic<int> stop{0};
        std::atomic<int> upgradeStart{0};
    };

    FakeDriver();
    ~FakeDriver() override;

    // --- settings

    Results results;
    std::atomic<bool> opensByFd{true};          // off: openDeviceByFd as if it were not overridden
    std::atomic<bool> leavesCount{false};       // getDeviceList writes neither records nor a count
    std::atomic<bool> givesNullDevice{false};   // opening succeeds and writes no device
    std::atomic<bool> givesNullStream{false};   // createStream succeeds and writes no stream
    std::atomic<bool> hasUpgrader{false};       // createUpgradeIntance gives a FakeUpgrade
    std::atomic<bool> hasPlainUpgrader{false};  // or one that overrides nothing
    std::atomic<bool> upgrading{false};         // isUpgradeState of that FakeUpgrade
    std::atomic<int> deviceKind{7};
    std::atomic<unsigned int> frameBufferSize{64};  // bytes, of every stream
    std::atomic<bool> freeRunning{false};  // started streams deliver frame after frame, every ms

    void setDevices(std::vector<typedefNubrixeviceAttribute> records);
    void setGmslPaths(std::vector<std::string> paths);
    void setDeviceId(const std::string &id);  // of devices opened by descriptor; "fd-device" before
    void setModes(std::vector<typedefNubrixFrameMode> modes);
    /// Until then, and before a setFrameMode, there is no current mode.
    void setCurrentMode(const typedefNubrixFrameMode &mode);
    void setPropertyValue(unsigned int id, std::vector<unsigned char> value);
    /// Called, with what calls() records, on the caller's thread within every operation.
    void setHook(std::function<void(const std::string &call)> hook);

    // --- the calls it got

    /// Operations in order with their arguments, those of a device after its URI: "initialize",
    /// "openDevice usb:1", "usb:1 createStream 2", "usb:1 stream 2 start".
    std::vector<std::string> calls() const;
    std::vector<std::string> takeCalls();  // and forgets them
    std::size_t countCalls(const std::string &call) const;
    void record(const std::string &call);

    // --- what it does on demand

    /// The open device of a URI, or the one opened first; null if there is none.
    FakeDevice *device(const std::string &uri = {}) const;
    /// Delivers a frame through a running stream of a type (of the device opened first, or of one
    /// URI) on this thread. False when no such stream runs or the pool gives no frame. Allocates
    /// nothing itself.
    bool deliver(unsigned int streamType, const FakeFrame &frame);
    bool deliver(const std::string &uri, unsigned int streamType, const FakeFrame &frame);
    /// Raises a hot-plug event on the driver's own thread; null strings are passed on as such.
    void announce(const char *deviceAddr, const char *serial, const char *location,
                  unsigned int state);
    /// Waits until every announced event has been handled; false after 20 s.
    bool waitForAnnouncements();
    /// The same event on this thread.
    void raise(const char *deviceAddr, const char *serial, const char *location,
               unsigned int state);
    /// What "driverDestroy" does: closes what is open and ends the hot-plug thread.
    void shutDown();

    // --- NubrixBaseDriver

    int initialize() override;
    int uninitialize() override;
    int setDeviceStateCallback(DriverStateCallback callback, void *user) override;
    int getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count) override;
    int getGmslDeviceList(_NubrixGmslDeviceInfo *records, unsigned int *count) override;
    int openDevice(const char *uri, NubrixBaseDevice **device) override;
    int openDeviceByFd(unsigned int vid, unsigned int pid, int fd, const char *path,
                       NubrixBaseDevice **device) override;
    int closeDevice(NubrixBaseDevice **device) override;
    int setUpgradeStatus(bool on) override;
    int setGmslI2CStats(bool on) override;
    int setGmslI2CAddress(std::string address) override;

private:
    friend class FakeDevice;

    struct Event {
        std::optional<std::string> deviceAddr;
        std::optional<std::string> serial;
        std::optional<std::string> location;
        unsigned int state;
    };

    NubrixBaseDevice *addDevice(const std::string &id);
    std::shared_ptr<FakeStream> findStream(const std::string *uri, unsigned int streamType) const;
    void handleEvents();

    mutable std::mutex m_mutex;  // guards everything below; never held while calling out
    std::vector<std::string> m_calls;
    std::function<void(const std::string &)> m_hook;
    std::vector<typedefNubrixeviceAttribute> m_records;
    std::vector<std::string> m_gmslPaths;
    std::string m_deviceId = "fd-device";
    std::vector<typedefNubrixFrameMode> m_modes;
    std::map<unsigned int, typedefNubrixFrameMode> m_currentModes;  // by stream type
    std::map<unsigned int, std::vector<unsigned char>> m_properties;
    std::vector<std::unique_ptr<FakeDevice>> m_devices;
    DriverStateCallback m_stateCallback = nullptr;
    void *m_stateUser = nullptr;

    std::condition_variable m_eventsChanged;
    std::deque<Event> m_events;
    bool m_handlingEvent = false;
    bool m_ending = false;
    std::thread m_eventThread;
};

}  // namespace nubrix
