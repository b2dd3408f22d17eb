/// @file
/// The records, handles, codes and callbacks that cross the public interface.
#pragma once

#include <cstddef>

// Opaque handles. Each is the address of an object that the context owns; it is valid from the
// operation that hands it out until the matching close or destroy, and is checked on every use.

/// @struct NubrixDevice
/// The handle of an open camera, valid from openDevice to closeDevice or destroy. Every operation
/// checks it.
struct NubrixDevice;
/// @struct NubrixStream
/// The handle of a stream, valid from openStream until it or its camera is closed, or destroy.
/// Every operation checks it.
struct NubrixStream;
/// @struct NubrixRecord
/// The handle of a recorder, valid from createRecorder to destroyRecorder or destroy. Every
/// operation checks it.
struct NubrixRecord;

/// Which images of a camera a stream carries.
enum NubrixStreamType : unsigned int {
    NUBRIX_STREAM_COLOR = 1,      ///< colour
    NUBRIX_STREAM_DEPTH = 2,      ///< distances along the optical axis
    NUBRIX_STREAM_IR = 4,         ///< infrared
    NUBRIX_STREAM_LIGHT_IR = 32,  ///< infrared under an illuminator
};

/// How the bytes of typedefNubrixFrame::data are to be read. Rows run from top to bottom without
/// padding. Depth codes are unsigned 16-bit fixed point millimetres, 0 where nothing was measured.
enum NubrixPixelFormat : unsigned int {
    NUBRIX_PIXEL_RGB888 = 0,      ///< 3 bytes a pixel: red, green, blue
    NUBRIX_PIXEL_DEPTH_12_4 = 1,  ///< 12 integer bits, 4 fraction bits: value / 16
    NUBRIX_PIXEL_DEPTH_13_3 = 2,  ///< 13 integer bits, 3 fraction bits: value / 8
    NUBRIX_PIXEL_DEPTH_14_2 = 3,  ///< 14 integer bits, 2 fraction bits: value / 4
    NUBRIX_PIXEL_DEPTH_MM = 4,    ///< whole millimetres
    NUBRIX_PIXEL_GREY8 = 5,       ///< 1 byte a pixel
    NUBRIX_PIXEL_GREY16 = 6,      ///< 2 bytes a pixel, little-endian
    NUBRIX_PIXEL_YUYV = 7,        ///< Y0 U Y1 V, 4 bytes for two pixels
    NUBRIX_PIXEL_UYVY = 8,        ///< U Y0 V Y1, 4 bytes for two pixels
    NUBRIX_PIXEL_NV21 = 9,        ///< Y plane, then interleaved V U at half size
    NUBRIX_PIXEL_I420 = 10,       ///< Y plane, then U plane, then V plane at half size
    NUBRIX_PIXEL_JPEG = 11,       ///< one JPEG image of dataSize bytes
};

/// The driver plug-in that serves a transport. Mind that typedefNubrixeviceAttribute::transport
/// counts differently: transports 2 and 3 are served by the network driver, 4 by the mini driver.
enum DRIVER_TYPE : int {
    DRIVER_TYPE_UVC = 1,   ///< USB video cameras and GMSL nodes: libNubrixUvcDriver.so
    DRIVER_TYPE_NET = 2,   ///< network cameras: libNubrixNetDriver.so
    DRIVER_TYPE_MINI = 3,  ///< known, but not loaded in this release: libNubrixMiniDriver.so
};

/// How important a line of the log is. Lines at the threshold and above are shown, see
/// NubrixBaseContext::setLogLevel.
enum NubrixLogLevel {
    NUBRIX_LOG_TRACE = 0,      ///< steps of a shutdown
    NUBRIX_LOG_INFO = 1,       ///< progress and state details
    NUBRIX_LOG_WARNING = 2,    ///< calls in the wrong order
    NUBRIX_LOG_ERROR = 3,      ///< failures; the default threshold
    NUBRIX_LOG_MILESTONE = 4,  ///< what must be visible at the default threshold
};

/// The `state` of a device state callback.
enum NubrixDeviceState : unsigned int {
    NUBRIX_DEVICE_CONNECTED = 0,     ///< the camera is attached
    NUBRIX_DEVICE_DISCONNECTED = 1,  ///< the camera was detached
};

/// Device properties that the core itself uses; every other id is the driver's.
enum NubrixProperty : unsigned int {
    NUBRIX_PROPERTY_VERSION = 72,           ///< a NubrixVersions record, 82 bytes
    NUBRIX_PROPERTY_STREAM_FLAG_MODE = 75,  ///< an unsigned 32-bit value, 1 to 4
};

/// The property of this number plus a NubrixStreamType is a NubrixStreamCounters record, 20 bytes,
/// read only. No enumerator, so that the sum is a number.
constexpr unsigned int NUBRIX_PROPERTY_STREAM_COUNTERS = 0x5a00;

/// Values of the process-wide error number. A success never clears it.
enum NubrixErrorCode : unsigned int {
    NUBRIX_ERR_NOT_INITIALIZED = 0x80300101,     ///< the context is not initialized
    NUBRIX_ERR_INVALID_DEVICE = 0x80300102,      ///< no open camera has this handle
    NUBRIX_ERR_DEVICE_NOT_FOUND = 0x80300104,    ///< no camera is attached, or it was detached
    NUBRIX_ERR_INVALID_STREAM = 0x80300105,      ///< no stream has this handle; no colour stream
    NUBRIX_ERR_TOO_MANY_STREAMS = 0x80300106,    ///< there are 60 streams already
    NUBRIX_ERR_NO_FRAME = 0x80300107,            ///< a wait ended, but the frame had been taken
    NUBRIX_ERR_FRAME_UNAVAILABLE = 0x8030010a,   ///< a photo has waited 1 s for a frame
    NUBRIX_ERR_STREAM_CREATE = 0x80300111,       ///< streams that exclude each other; never set
    NUBRIX_ERR_URI_NOT_FOUND = 0x80300206,       ///< no camera has this URI; a photo's file cannot
                                                 ///< be written; a wait for no stream
    NUBRIX_ERR_OPEN_FAILED = 0x80300208,         ///< there is no camera to open at this URI
    NUBRIX_ERR_FILE_OPEN = 0x8030040d,           ///< a file for a checksum cannot be opened
    NUBRIX_ERR_THREAD_NOT_CREATED = 0x80300410,  ///< the priority of a thread that does not exist
    NUBRIX_ERR_THREAD_PRIORITY = 0x80300411,     ///< the system refuses the priority of a thread
    NUBRIX_ERR_THREAD_START = 0x80300412,        ///< the system cannot create a thread
    NUBRIX_ERR_STREAM_HANDLE = 0x8030059c,       ///< the camera could not make the stream
    NUBRIX_ERR_PREPROCESS = 0x803005aa,          ///< a wait of the pre-processing stage failed
};

/// One frame as the application sees it: the record inside a pooled frame. It stays valid, with its
/// pixels, until it is returned with releaseFrame. 44 bytes on the 32-bit target, 56 on 64 bits.
struct typedefNubrixFrame {
    unsigned int pixelFormat;    ///< a NubrixPixelFormat
    unsigned int streamType;     ///< a NubrixStreamType
    unsigned int frameIndex;     ///< counts the frames that the camera captured, lost ones included
    unsigned int timestampLow;   ///< with timestampHigh: microseconds of the monotonic clock
    unsigned int timestampHigh;  ///< at capture, as one 64-bit count
    unsigned int flags;          ///< driver-defined; 0 for a valid frame
    int width;                   ///< pixels
    int height;                  ///< pixels
    unsigned int dataSize;       ///< valid bytes in data
    void *data;                  ///< the pixels; rows from top to bottom without padding
    unsigned int reserved;       ///< 0
};

/// One mode of a stream. Drivers own their tables of modes; the core hands out pointers into them.
struct typedefNubrixFrameMode {
    unsigned int pixelFormat;  ///< a NubrixPixelFormat
    unsigned short width;      ///< pixels
    unsigned short height;     ///< pixels
    signed char frameRate;     ///< frames per second
};

/// What a driver counts of a stream since it last started it; all 0 before.
struct NubrixStreamCounters {
    unsigned int delivered;  ///< frames
    unsigned int flagged;    ///< of them, short or damaged ones
    unsigned int held;       ///< frames dropped because the application held all frames of the pool
    unsigned int unusable;   ///< frames dropped because their contents could not be used
    unsigned int missed;     ///< frames that were lost before they reached the driver
};

#pragma pack(push, 1)

/// One attached camera. Packed to 593 bytes, so records of an array are misaligned: read fields by
/// value, never keep a pointer to one.
struct typedefNubrixeviceAttribute {
    unsigned int vendorId;     ///< of USB
    unsigned int productId;    ///< of USB
    int transport;             ///< 1 USB video, 2 and 3 network, 4 mini
    char serialNumber[64];     ///< all texts here are zero-terminated
    unsigned int deviceState;  ///< a NubrixDeviceState
    char uri[257];             ///< what openDevice takes
    char location[128];        ///< where it is attached, as its driver writes it
    char productName[128];     ///< the model, for people
};

/// The version record of a device (property 72), 82 bytes; each version is major, minor, revision.
struct NubrixVersions {
    unsigned short sdk[3];       ///< of the SDK that the driver belongs to
    unsigned short firmware[3];  ///< of the camera's firmware
    unsigned short hardware[3];  ///< of the camera itself
    char serialNumber[64];       ///< zero-terminated
};

#pragma pack(pop)

/// One camera on a GMSL link.
struct _NubrixGmslDeviceInfo {  // NOLINT(bugprone-reserved-identifier): the name is the interface's
    unsigned int deviceType;    ///< a code of the driver; 0 by the USB driver
    char devicePath[64];        ///< "/dev/video...": what openDevice takes
};

/// A point of a cloud: x to the right, y downwards, z away from the camera; with colours y upwards
/// and z towards the camera.
struct typedefNubrixPoint3D {
    float x;  ///< depths divided by the scale that the conversion was given, as y and z
    float y;  ///< down, or with colours up
    float z;  ///< along the optical axis
};

/// A colour with components from 0 to 1.
struct typedefNubrixRGBA {
    float r;  ///< red
    float g;  ///< green
    float b;  ///< blue
    float a;  ///< opacity: 1 for all points
};

/// What a running upgrade reports to the application; both run on a thread of the upgrader.
/// `device` may be null: use `user`. They may call every operation of the context but destroy,
/// which returns -1 there. destroy on another thread ends the upgrade and waits for onFinished.
struct typedefNubrixUpgradeCallbacks {
    void (*onProgress)(NubrixDevice *device, int percent, void *user);  ///< percent: 0 to 100
    void (*onFinished)(NubrixDevice *device, int status, void *user);   ///< status 0: upgraded
    void *user;                                                         ///< passed to both
};

/// Called on the stream's own thread with a frame that the application owns from now on and returns
/// with releaseFrame, there or anywhere. The callback may call every operation of the context but
/// destroy, also those that stop and close its own stream and camera.
typedef void (*NubrixFrameCallback)(NubrixStream *stream, typedefNubrixFrame *frame, void *user);

/// Called on a thread of the driver when a camera has arrived or left; `state` is a
/// NubrixDeviceState. The texts live for the call only. The callback may call every operation of
/// the context but destroy.
typedef void (*NubrixDeviceStateCallback)(const char *uri, const char *serial, unsigned int state,
                                          void *user);

static_assert(sizeof(typedefNubrixFrame) == (sizeof(void *) == 4 ? 44 : 56), "frame record");
static_assert(offsetof(typedefNubrixFrame, dataSize) == 32, "frame record");
static_assert(offsetof(typedefNubrixFrame, data) == (sizeof(void *) == 4 ? 36 : 40),
              "frame record");
static_assert(sizeof(typedefNubrixFrameMode) == 12, "frame mode record");
static_assert(sizeof(NubrixStreamCounters) == 20, "stream counters record");
static_assert(offsetof(typedefNubrixFrameMode, frameRate) == 8, "frame mode record");
static_assert(sizeof(typedefNubrixeviceAttribute) == 593, "device attribute record");
static_assert(offsetof(typedefNubrixeviceAttribute, transport) == 8, "device attribute record");
static_assert(offsetof(typedefNubrixeviceAttribute, uri) == 80, "device attribute record");
static_assert(offsetof(typedefNubrixeviceAttribute, productName) == 465, "device attribute record");
static_assert(sizeof(_NubrixGmslDeviceInfo) == 68, "GMSL record");
static_assert(offsetof(_NubrixGmslDeviceInfo, devicePath) == 4, "GMSL record");
static_assert(sizeof(NubrixVersions) == 82, "version record");
static_assert(sizeof(typedefNubrixPoint3D) == 12, "point record");
static_assert(sizeof(typedefNubrixRGBA) == 16, "colour record");
