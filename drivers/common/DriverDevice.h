// What devices of all drivers have: one stream of each type, its modes, and common properties.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/CameraProperties.h"
#include "common/DriverStream.h"
#include "common/ModeTable.h"
#include "common/Report.h"
#include "nubrix/driver.h"

namespace nubrix {

/// A driver derives its device from this class, calls addStream for each stream that the camera
/// has, and closes all streams in its destructor. Thread-safe, except for addStream.
class DriverDevice : public NubrixBaseDevice {
public:
    /// -4 for a type that the camera does not know, -8 for one that it has no modes for, -9 when
    /// the camera is gone, -2 when the stream exists already.
    int createStream(unsigned int streamType, NubrixBaseStream **stream) override;
    /// Stops the stream, destroys it and clears the pointer: -4 for one that is not the device's.
    int destroyStream(NubrixBaseStream **stream) override;
    int closeAllStreams() override;
    /// The stream flag mode; -8 for every other property.
    int setProperty(unsigned int id, const void *data, unsigned int size) override;
    /// The version record, the stream flag mode, and the counters of each stream, these also when
    /// the camera is gone; -8 for every other property.
    int getProperty(unsigned int id, void *data, unsigned int *size) override;
    int deviceState() override;
    /// 0 when the camera is gone or one of its streams is unresponsive.
    int keepLiveState() override;
    int getSupportFrameMode(unsigned int streamType, const typedefNubrixFrameMode **modes,
                            unsigned int *count) override;
    /// -4 for a mode that the stream does not have, -8 for a stream without modes, -9 when the
    /// camera is gone, -2 while the stream runs.
    int setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode,
                     bool restart) override;
    typedefNubrixFrameMode *getCurrentFrameMode(unsigned int streamType) override;
    const char *getDeviceId() override { return m_name.c_str(); }

    /// What reports and the library call the camera.
    const std::string &name() const { return m_name; }
    /// The mode that is set for a stream that the camera has.
    typedefNubrixFrameMode mode(unsigned int streamType) const;
    /// The camera has been unplugged, for good.
    virtual bool isGone() = 0;

protected:
    DriverDevice(const Reporter &reporter, std::string name);

    /// Adds a stream, which is set to the mode at `first` if it has modes. The table must outlive
    /// the device. Before any other operation.
    void addStream(const ModeTable &modes, std::size_t first);
    bool knows(unsigned int streamType) const { return slotOf(streamType) != nullptr; }
    /// Whether a property is the counters of one of the streams.
    bool isCounters(unsigned int id) const { return knows(id - NUBRIX_PROPERTY_STREAM_COUNTERS); }
    /// Calls `action` with each open stream, under the lock of the device.
    template <class Action>
    void forEachStream(Action action) const
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        for (const std::unique_ptr<Slot> &slot : m_slots) {
            if (slot->stream)
                action(*slot->stream);
        }
    }

private:
    static constexpr std::size_t kMaxStreams = 8;  // more than there are types

    struct Slot {
        const ModeTable *modes;             // fixed
        std::size_t current = 0;            // among the modes
        typedefNubrixFrameMode shown = {};  // handed out: whoever has it may write to it
        std::shared_ptr<DriverStream> stream;
    };

    virtual std::shared_ptr<DriverStream> newStream(unsigned int streamType) = 0;
    virtual NubrixVersions versions() const = 0;

    /// Copies the counters of a stream; all are 0 for one that is not open.
    int getCounters(unsigned int streamType, void *data, unsigned int *size) const;
    static void setCurrent(Slot &slot, std::size_t place);
    Slot *slotOf(unsigned int streamType) const;
    /// Reports a stream without modes; false for such a one.
    bool hasModes(const Slot &slot) const;

    const Reporter m_reporter;
    const std::string m_name;
    std::atomic<unsigned int> m_streamFlagMode{1};
    std::vector<std::unique_ptr<Slot>> m_slots;  // fixed before any operation
    mutable std::mutex m_lock;                   // of what is in the slots
};

}  // namespace nubrix
