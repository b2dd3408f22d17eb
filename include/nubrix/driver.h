/// @file
/// What a driver plug-in implements and uses.
///
/// A plug-in is a shared library with two functions of plain C names:
///
///     extern "C" NUBRIX_API nubrix::NubrixBaseDriver *driverInstance();
///     extern "C" NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver);
///
/// The library calls driverInstance once when it loads the plug-in, and driverDestroy when the
/// context is destroyed (with null if driverInstance gave null). Everything here is virtual or
/// inline, so a plug-in links without the library; both must share one C++ standard library and its
/// string ABI. Interfaces hold no data. The order of the virtual operations is the binary
/// interface: new ones take a reserved place or the end. No exception may leave an operation.
///
/// Unless stated otherwise an operation returns 0 for success or a status that the library passes
/// to the application unchanged: negative numbers, -8 for what the driver does not support.
#pragma once

#include <cstdlib>
#include <string>

#include "nubrix/export.h"
#include "nubrix/types.h"

class NubrixBaseUpgrade;

namespace nubrix {

/// An object that lives as long as it is referenced. The count starts at 0: the first holder takes
/// the first reference. Thread-safe.
class RefCntr {
public:
    /// @{
    /// Not copied: whoever shares it takes a reference.
    RefCntr(const RefCntr &) = delete;
    RefCntr &operator=(const RefCntr &) = delete;
    /// @}

    /// Takes a reference. Returns the new count.
    virtual int incRef() { return __atomic_add_fetch(&m_count, 1, __ATOMIC_SEQ_CST); }
    /// Drops a reference; the last one destroys the object, or whatever a subclass does instead.
    /// Returns the new count.
    virtual int release()
    {
        const int left = __atomic_sub_fetch(&m_count, 1, __ATOMIC_SEQ_CST);
        if (left == 0)
            delete this;
        return left;
    }

protected:
    /// @{
    /// Without a reference at first; the last release destroys it.
    RefCntr() = default;
    virtual ~RefCntr() = default;
    /// @}

    int m_count = 0;  ///< references; changed by atomic operations
};

/// Gives the record inside a frame a type of its own, so that the frame can be found from it.
struct FrameRecord {
    typedefNubrixFrame m_frame;  ///< what the application sees
};

/// A counted frame with its pixel buffer. The buffer belongs to the frame (malloc) and has
/// bufferSize() bytes; it is zeroed when new, and holds old pixels when reused.
class NubrixFrameRef : public RefCntr, public FrameRecord {
public:
    /// Size of the buffer in bytes. The driver sets frame().dataSize to what it filled.
    virtual unsigned int bufferSize() const = 0;

    /// @{
    /// The record of the frame, which the driver fills before it hands the frame over.
    typedefNubrixFrame &frame() { return m_frame; }
    const typedefNubrixFrame &frame() const { return m_frame; }
    /// @}

protected:
    /// With a record of zeros.
    NubrixFrameRef() : FrameRecord() {}
    /// Frees the buffer.
    ~NubrixFrameRef() override { std::free(m_frame.data); }
};

/// Where a driver's stream takes its frames from: the pool of the library, at most 10 frames.
class FrameAllocatorInterfaceBase {
public:
    /// A frame with one reference that the driver owns, or null when the pool is exhausted: the
    /// driver then drops the image (and counts the loss in frameIndex). Never blocks.
    virtual NubrixFrameRef *allocOneFrame() = 0;
    /// Buffer size of new frames in bytes.
    virtual unsigned int getFrameBufferSize() const = 0;
    /// Called by the library: forgets all frames if the size changes.
    virtual void setFrameBufferSize(unsigned int size) = 0;

protected:
    /// A driver does not destroy it: it is the library's.
    ~FrameAllocatorInterfaceBase() = default;
};

/// Takes a filled frame. The library takes references of its own; the driver releases the one it
/// got from allocOneFrame once the callback has returned.
typedef void (*DriverFrameCallback)(NubrixFrameRef *frame, void *user);

/// Takes a hot-plug event; `state` is a NubrixDeviceState. Call it from a thread of the driver, and
/// neither from within an operation of the driver nor with a lock held that an operation takes:
/// the handler calls getDeviceList and the application's callbacks.
typedef void (*DriverStateCallback)(const char *deviceAddr, const char *serial,
                                    const char *location, unsigned int state, void *user);

/// One image source of a device. Made by NubrixBaseDevice::createStream. The library calls the
/// operations of one stream one at a time.
class NubrixBaseStream {
public:
    /// @{
    /// Made by a driver; not copied.
    NubrixBaseStream() = default;
    NubrixBaseStream(const NubrixBaseStream &) = delete;
    NubrixBaseStream &operator=(const NubrixBaseStream &) = delete;
    virtual ~NubrixBaseStream() = default;
    /// @}

    /// Bytes of one frame's payload in the current mode. Asked before every start.
    virtual unsigned int getFrameBufferSize() = 0;
    /// Called before every start; the allocator outlives the stream's running.
    virtual int setFrameAllocator(FrameAllocatorInterfaceBase *allocator) = 0;
    /// Called before every start.
    virtual int setFrameCallback(DriverFrameCallback callback, void *user) = 0;
    /// Begins delivery, on a thread of the driver.
    virtual int start() = 0;
    /// Ends delivery: once it has returned, the callback is not called again and no frame is held.
    virtual int stop() = 0;
};

/// One opened camera. Made by the driver's openDevice, freed by its closeDevice together with the
/// streams that are left.
class NubrixBaseDevice {
public:
    /// @{
    /// Made by a driver; not copied.
    NubrixBaseDevice() = default;
    NubrixBaseDevice(const NubrixBaseDevice &) = delete;
    NubrixBaseDevice &operator=(const NubrixBaseDevice &) = delete;
    virtual ~NubrixBaseDevice() = default;
    /// @}

    /// @{
    /// A place for a later operation: not called by the library.
    virtual int reservedDevice2() { return -8; }
    virtual int reservedDevice3() { return -8; }
    /// @}
    /// Writes a stream that the driver owns to `stream`, or leaves it alone on failure.
    virtual int createStream(unsigned int streamType, NubrixBaseStream **stream) = 0;
    /// Destroys a stream and sets `*stream` to null.
    virtual int destroyStream(NubrixBaseStream **stream) = 0;
    /// Stops and destroys all streams. Not called by the library.
    virtual int closeAllStreams() { return 0; }
    /// Writes a property: `size` bytes at `data`, which live for the call only.
    virtual int setProperty(unsigned int /*id*/, const void * /*data*/, unsigned int /*size*/)
    {
        return -8;
    }
    /// Reads a property. `size` is the capacity of `data` in bytes on entry, the number of bytes
    /// written on return.
    virtual int getProperty(unsigned int /*id*/, void * /*data*/, unsigned int * /*size*/)
    {
        return -8;
    }
    /// Answers a request of `inSize` bytes, in a form of the driver's choice. `outSize` is the
    /// capacity of `out` in bytes on entry, the number of bytes written on return.
    virtual int propertyTranspraentTransmission(unsigned char * /*in*/, unsigned int /*inSize*/,
                                                unsigned char * /*out*/, unsigned int * /*outSize*/)
    {
        return -8;
    }
    /// A NubrixDeviceState: 1 means that the camera was detached.
    virtual int deviceState() = 0;
    /// Non-zero while the camera responds.
    virtual int keepLiveState() = 0;
    /// Takes the path of a file with temperature parameters.
    virtual int setTemperatureParamsFilePath(const char * /*path*/) { return -8; }
    /// Converts as NubrixBaseContext::convertDepthToPointCloud, with the camera's own means.
    virtual int convertDepthToPointCloud2(const unsigned short * /*depth*/, unsigned int /*width*/,
                                          unsigned int /*height*/, float /*s*/, float /*fx*/,
                                          float /*fy*/, float /*cx*/, float /*cy*/,
                                          typedefNubrixPoint3D * /*points*/,
                                          unsigned int /*pixelType*/, bool /*limitRange*/)
    {
        return -8;
    }
    /// Hands out the driver's own table, valid until the device is closed.
    virtual int getSupportFrameMode(unsigned int streamType, const typedefNubrixFrameMode **modes,
                                    unsigned int *count) = 0;
    /// Sets the mode that the next start of the stream uses, or refuses it, for example while the
    /// stream runs. `restart` is true when the mode is applied again before a restart of the
    /// stream.
    virtual int setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode,
                             bool restart) = 0;
    /// The driver's own record of the mode in force, null if there is none.
    virtual typedefNubrixFrameMode *getCurrentFrameMode(unsigned int streamType) = 0;
    /// @{
    /// A place for a later operation: not called by the library.
    virtual int reservedDevice17() { return -8; }
    virtual int reservedDevice18() { return -8; }
    virtual int reservedDevice19() { return -8; }
    virtual int reservedDevice20() { return -8; }
    virtual int reservedDevice21() { return -8; }
    /// @}
    /// Identifies the camera for the library; for a listed one, its URI. Valid until closed.
    virtual const char *getDeviceId() = 0;
    /// @{
    /// A place for a later operation: not called by the library.
    virtual int reservedDevice23() { return -8; }
    virtual int reservedDevice24() { return -8; }
    virtual int reservedDevice25() { return -8; }
    /// @}
    /// A code of the driver's choice for the model.
    virtual int getDeviceKind() = 0;
    /// @{
    /// A place for a later operation: not called by the library.
    virtual int reservedDevice27() { return -8; }
    virtual int reservedDevice28() { return -8; }
    virtual int reservedDevice29() { return -8; }
    virtual int reservedDevice30() { return -8; }
    virtual int reservedDevice31() { return -8; }
    virtual int reservedDevice32() { return -8; }
    virtual int reservedDevice33() { return -8; }
    virtual int reservedDevice34() { return -8; }
    /// @}
    /// An upgrader that the library owns and deletes, null if the camera cannot be upgraded.
    virtual NubrixBaseUpgrade *createUpgradeIntance() { return nullptr; }
};

/// The cameras of one transport.
class NubrixBaseDriver {
public:
    /// @{
    /// Made by driverInstance and freed by driverDestroy; not copied.
    NubrixBaseDriver() = default;
    NubrixBaseDriver(const NubrixBaseDriver &) = delete;
    NubrixBaseDriver &operator=(const NubrixBaseDriver &) = delete;
    virtual ~NubrixBaseDriver() = default;
    /// @}

    /// Called once per load, after setDeviceStateCallback. Non-zero fails the context's initialize
    /// with that value. Must not wait for the state callback.
    virtual int initialize() = 0;
    /// Not called by the library.
    virtual int uninitialize() { return 0; }
    /// Takes the function that hot-plug events go to, and what to pass to it; before initialize.
    virtual int setDeviceStateCallback(DriverStateCallback callback, void *user) = 0;
    /// Writes the attached cameras. `count` holds the capacity (60) on entry, the number of records
    /// written on return. All drivers share one table of 60 records: stay well below it.
    virtual int getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count) = 0;
    /// Writes the cameras on GMSL links, 60 at most: here `count` does not hold the capacity on
    /// entry.
    virtual int getGmslDeviceList(_NubrixGmslDeviceInfo * /*records*/, unsigned int *count)
    {
        *count = 0;
        return 0;
    }
    /// Writes a device that the driver owns until closeDevice.
    virtual int openDevice(const char *uri, NubrixBaseDevice **device) = 0;
    /// Adopts a descriptor that the application opened; it stays the application's.
    virtual int openDeviceByFd(unsigned int /*vid*/, unsigned int /*pid*/, int /*fd*/,
                               const char * /*path*/, NubrixBaseDevice ** /*device*/)
    {
        return -8;
    }
    /// Frees the device and every stream it still has.
    virtual int closeDevice(NubrixBaseDevice **device) = 0;
    /// Called with true on the driver of USB cameras when an upgrade starts.
    virtual int setUpgradeStatus(bool /*upgrading*/) { return 0; }
    /// Switches the I2C mode for cameras on a GMSL link; only the driver of USB cameras is asked.
    virtual int setGmslI2CStats(bool /*on*/) { return 0; }
    /// Sets the I2C address for cameras on a GMSL link; only the driver of USB cameras is asked.
    // NOLINTNEXTLINE(performance-unnecessary-value-param): drivers are built for this signature
    virtual int setGmslI2CAddress(std::string /*address*/) { return 0; }
};

}  // namespace nubrix

/// Upgrades the firmware of one camera. Made by NubrixBaseDevice::createUpgradeIntance, deleted by
/// the library.
class NubrixBaseUpgrade {
public:
    /// @{
    /// Made by a driver and deleted by the library; not copied.
    NubrixBaseUpgrade() = default;
    NubrixBaseUpgrade(const NubrixBaseUpgrade &) = delete;
    NubrixBaseUpgrade &operator=(const NubrixBaseUpgrade &) = delete;
    virtual ~NubrixBaseUpgrade() = default;
    /// @}

    /// Starts writing the firmware image in `file`, and reports by `callbacks`, which may be null
    /// and live as long as the upgrader. It may still be running on return.
    virtual int deviceStartUpgradeOffLine(const typedefNubrixUpgradeCallbacks * /*callbacks*/,
                                          const char * /*file*/)
    {
        return -1;
    }
    /// A hot-plug event of this camera's location, before anybody else sees it.
    virtual void onDeviceStateChange(const char * /*deviceAddr*/, const char * /*serial*/,
                                     const char * /*location*/, unsigned int /*state*/)
    {
    }
    /// The application's setDeviceStatusChange.
    virtual void onDeviceStateChange(const char * /*path*/, int /*event*/, int /*detail*/,
                                     unsigned int /*state*/)
    {
    }
    /// The application's setDufDeviceFd.
    virtual void setDufDeviceFd(unsigned int /*vid*/, unsigned int /*pid*/, unsigned int /*fd*/,
                                const char * /*path*/)
    {
    }
    /// While true, hot-plug events of this camera stay with the upgrader.
    virtual bool isUpgradeState() { return false; }
    /// The serial number of the camera.
    virtual std::string getDeviceSerialNumber() { return std::string(); }
    /// The location of the camera, as hot-plug events have it: events of this location come here
    /// first.
    virtual std::string getDeviceLocation() { return std::string(); }
};

// Either spelling compiles.
namespace nubrix {
using ::NubrixBaseUpgrade;
}
using nubrix::FrameAllocatorInterfaceBase;
using nubrix::NubrixBaseDevice;
using nubrix::NubrixBaseDriver;
using nubrix::NubrixBaseStream;
using nubrix::NubrixFrameRef;
