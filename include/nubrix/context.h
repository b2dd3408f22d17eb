/// @file
/// The context: the one object through which an application uses the library.
#pragma once

#include <string>

#include "nubrix/export.h"
#include "nubrix/types.h"

namespace nubrix {
class NubrixBaseDriver;
}

/// All operations of the library.
///
/// Get it from ContextFactory, call initialize, and at the end destroy and deleteContext.
///
/// An operation that returns int gives 0 for success or a negative status, and then usually stores
/// a NubrixErrorCode in the error number (ErrnoLocal) and logs a message:
///
/// | status | meaning |
/// |---|---|
/// | -1 | general failure |
/// | -2 | the context is not initialized, or the stream not started |
/// | -3 | no such open device |
/// | -4 | not found, or a bad argument |
/// | -5 | a limit is reached |
/// | -8 | not supported |
/// | -9 | none of the streams' cameras is connected |
/// | -10 | the camera no longer responds |
/// | -11 | time-out, or no frame |
/// | -12 | no driver for this camera |
/// | -13 | no such stream or recorder |
///
/// The status of a driver is passed on unchanged. Before initialize every operation returns -2 (or
/// null) unless its comment states otherwise.
///
/// Thread-safe: any thread may call any operation; where one may block, its comment states so. From
/// within a callback every operation may be called except destroy, which returns -1 there; a frame
/// callback may also stop and close its own stream and camera. While another thread runs destroy,
/// an operation that begins returns -2 (or null), and one that waits for frames returns -9 at once.
/// An exception, for example without memory, ends in -1 (or null) and a line in the log.
class NubrixBaseContext {
public:
    /// @{
    /// Made by ContextFactory and freed by deleteContext; not copied.
    NubrixBaseContext() = default;
    NubrixBaseContext(const NubrixBaseContext &) = delete;
    NubrixBaseContext &operator=(const NubrixBaseContext &) = delete;
    virtual ~NubrixBaseContext() = default;
    /// @}

    /// Loads the driver plug-ins (docs/architecture.md names the folders) and lists their cameras.
    /// A plug-in that is missing is no error; a driver that fails is: its status is returned, or -1
    /// when it cannot list its cameras. A camera that arrives meanwhile is listed. A second call
    /// does nothing and returns 0.
    virtual int initialize() = 0;
    /// Stops and frees everything: streams, devices, drivers, registered callbacks. All handles are
    /// invalid afterwards; frames that the application still holds stay readable but can no longer
    /// be released. Wakes those that wait for frames, and blocks until operations and callbacks
    /// that are running have returned; deleteContext is safe then. initialize may be called again.
    /// -1 from within a callback, -2 when not initialized.
    virtual int destroy() = 0;

    /// Sets the folder of the log files (null keeps it), and reads the log settings from
    /// nubrixLog.ini next to the library, and from /etc/nubrix/nubrixLog.ini, which overrides it
    /// entry by entry. The former is filled up with defaults, and created if it is missing, unless
    /// the library is installed below /usr: nothing is written there. Needs no initialize. Returns
    /// the result of the log plug-in, 0 without one.
    virtual int setLogFileSavePath(const char *path) = 0;

    /// Adds a callback for cameras that arrive and leave. The same function is added once only,
    /// whatever `user` is. There is no removal; destroy forgets all.
    virtual int setDeviceStateCallback(NubrixDeviceStateCallback callback, void *user) = 0;
    /// Hands out the context's own table of attached cameras, which changes when one arrives or
    /// leaves, also while it is read: nubrixCopyDeviceList gives a copy.
    virtual int nubrixGetDeviceList(typedefNubrixeviceAttribute **list, unsigned int *count) = 0;
    /// Lists the cameras on GMSL links anew and hands out the context's own table of them; `*list`
    /// is null when there is no driver for them.
    virtual int nubrixGetGmslDeviceList(_NubrixGmslDeviceInfo **list, unsigned int *count) = 0;
    /// Finds the record of the camera with this URI in the context's own table, null if there is
    /// none. The table changes when a camera arrives or leaves.
    virtual typedefNubrixeviceAttribute *getDeviceAttributeByUri(const char *uri) = 0;

    /// Opens the camera with this URI, the first of the list for null, or a GMSL node for a URI
    /// with "/dev/video" in it. -4 when there is no such camera, -12 when no driver serves it.
    /// Opening a camera that is open returns 0 and leaves `*device` alone. May block in the driver.
    virtual int openDevice(const char *uri, NubrixDevice **device) = 0;
    /// Opens a camera by a file descriptor that the application opened and keeps. -1 when the USB
    /// identifiers are not known or no driver serves them.
    virtual int openDevice2(unsigned int vid, unsigned int pid, unsigned int fd, const char *path,
                            NubrixDevice **device) = 0;
    /// Passes the USB identifiers, a new descriptor and the path of a camera to the upgrade that
    /// was started last; what they mean is the upgrader's. Always 0. Needs no initialize.
    virtual int setDufDeviceFd(unsigned int vid, unsigned int pid, unsigned int fd,
                               const char *path) = 0;
    /// Closes the streams of the camera and the camera, and ends its upgrade. May block until its
    /// callbacks have returned, but not from within one of them or where one waits for the
    /// caller's.
    virtual int closeDevice(NubrixDevice *device) = 0;

    /// Hands out the driver's table of modes of a stream type; valid until the device is closed.
    virtual int getSupportFrameMode(NubrixDevice *device, unsigned int streamType,
                                    const typedefNubrixFrameMode **modes, unsigned int *count) = 0;
    /// Sets the mode of a stream type, one of those that getSupportFrameMode hands out. The streams
    /// of the type start with it; drivers refuse it while one runs. Returns the driver's status, -3
    /// for a device that is not open. May block in the driver.
    virtual int setFrameMode(NubrixDevice *device, unsigned int streamType,
                             typedefNubrixFrameMode &mode) = 0;
    /// Hands out the driver's record of the mode in force, null if there is none or on failure;
    /// valid until the device is closed.
    virtual typedefNubrixFrameMode *getCurrentFrameMode(NubrixDevice *device,
                                                        unsigned int streamType) = 0;

    /// Creates a stream and starts it. With a callback, every frame goes there (the newest, when
    /// the callback is slower than the camera) and waiting for the stream gives nothing. On failure
    /// `*stream` is null, or untouched if no stream could be made. -4 for an unknown type.
    virtual int openStream(NubrixDevice *device, unsigned int streamType, NubrixStream **stream,
                           NubrixFrameCallback callback, void *user) = 0;
    /// Stops and destroys a stream, after a start that is under way. When it returns, the callback
    /// is not called any more, and does not run unless this is called from within it. -13 for an
    /// unknown handle. Waits for a readFrame that waits on another thread.
    virtual int closeStream(NubrixStream *stream) = 0;
    /// Waits until one of `count` streams has a new frame and writes that stream to `ready[0]`
    /// (`ready` may be null). `timeoutMs` in milliseconds, -1 for no limit. -11 on a time-out; -9
    /// when no camera of the streams is connected, -10 when the last stream's camera does not
    /// answer. May block; each thread has a listener of its own.
    virtual int waitForStreams(NubrixStream **streams, int count, NubrixStream **ready,
                               int timeoutMs) = 0;
    /// Takes the newest frame of a stream, waiting for one if need be; other results as of
    /// waitForStreams. `*frame` is null without one, and not written on -2 and -13. The caller owns
    /// a reference and returns it with releaseFrame. Readers of all streams are served in turn,
    /// each when the one before it is done, and a stream is not destroyed while one waits: prefer a
    /// finite timeout, or waitForStreams.
    virtual int readFrame(NubrixStream *stream, typedefNubrixFrame **frame, int timeoutMs) = 0;
    /// Returns a frame; never blocks. The pointer must come from readFrame or a callback, or be
    /// null, which does nothing. 0, or -2 before initialize and after destroy.
    virtual int releaseFrame(typedefNubrixFrame *frame) = 0;

    /// Writes a property of the camera: `size` bytes at `data`. Which properties there are, and of
    /// which sizes, is the driver's business; all of NubrixProperty are offered by the drivers of
    /// this project. Returns the driver's status: -8 for a property that it does not have. May
    /// block.
    virtual int setDeviceProperty(NubrixDevice *device, unsigned int id, const void *data,
                                  unsigned int size) = 0;
    /// Reads a property into `data`, which the caller owns. `*size` is the space there in bytes on
    /// entry and what was written on return. Returns the driver's status: -8 for a property that it
    /// does not have. May block.
    virtual int getDeviceProperty(NubrixDevice *device, unsigned int id, void *data,
                                  unsigned int *size) = 0;
    /// Passes a request of `inSize` bytes to the driver and its answer back, in a form that is the
    /// driver's own: a control of an extension unit, a feature by its name. `*outSize` is the space
    /// at `out` in bytes on entry and what was written on return. Returns the driver's status, -8
    /// from drivers without such a form. May block.
    virtual int propertyTranspraentTransmission(NubrixDevice *device, unsigned char *in,
                                                unsigned int inSize, unsigned char *out,
                                                unsigned int *outSize) = 0;
    /// Sets property 75 (NUBRIX_PROPERTY_STREAM_FLAG_MODE); -1 for a mode outside 1 to 4. May
    /// block.
    virtual int setStreamFlagMode(NubrixDevice *device, unsigned int mode) = 0;

    /// Opens a record file (docs/recording.md describes the format), emptied if it was there;
    /// missing folders are made. Ended by destroyRecorder. -1 when the file cannot be made or its
    /// absolute path has more than 255 characters, -5 beyond 60 recorders.
    virtual int createRecorder(const char *path, NubrixRecord **recorder) = 0;
    /// Records a stream's frames from the next recorderStart on. -13 for an unknown handle, -4 when
    /// it is attached already, -1 without a current mode; 0, and nothing is attached, while the
    /// recorder is started. Frames of a stream with a callback are not recorded.
    virtual int recorderAttachStream(NubrixRecord *recorder, NubrixStream *stream) = 0;
    /// Starts recording: until recorderStop every new frame of the attached streams is written, on
    /// the stream's own thread. A write that fails is logged. -13 for an unknown recorder.
    virtual int recorderStart(NubrixRecord *recorder) = 0;
    /// Ends what recorderStart began; the file stays open. -13 for an unknown recorder.
    virtual int recorderStop(NubrixRecord *recorder) = 0;
    /// Writes the remaining frames and closes the file; after it returns nothing is written, and
    /// the handle is invalid. -13 for an unknown recorder. May block on the disk.
    virtual int destroyRecorder(NubrixRecord *recorder) = 0;

    /// Passes the path of a file with temperature parameters to the driver. Returns its status, -8
    /// from drivers that use none, as those of this project.
    virtual int setTemperatureParamsFilePath(NubrixDevice *device, const char *path) = 0;
    /// Sets the threshold of the log plug-in, 0 to 4; -1 above. Needs no initialize.
    virtual int setLogLevel(unsigned int level) = 0;
    /// Sets the folder of the log files. Needs no initialize.
    virtual int setLogFolder(const char *folder) = 0;
    /// Reads property 72 (NUBRIX_PROPERTY_VERSION) into `versions`, which the caller owns. May
    /// block.
    virtual int getVersion(NubrixDevice *device, NubrixVersions *versions) = 0;
    /// Stores a code in the error number. Needs no initialize.
    virtual void setErrorCode(NubrixErrorCode code) = 0;
    /// Does nothing and returns 0.
    virtual int logInfo(NubrixLogLevel level, const char *format, ...) = 0;
    /// Writes the next colour frame of the first colour stream as a 24-bit bitmap, waiting up to 1
    /// s for one, and holds nothing while it writes; without a path (null or empty) as
    /// YYYYMMDDhhmmss.bmp in the current folder. -8 without a colour stream or for pixels that are
    /// not complete RGB888, -1 without a frame in time, -2 for a stream that is not started, -9
    /// when destroy ends the wait, -4 when the file cannot be opened or written in full.
    virtual int takePhoto(const char *path) = 0;

    /// Makes a point of each pixel of a depth image. docs/pointcloud.md sets the three conversions
    /// side by side.
    ///
    /// depth: width * height values, row after row; pixelType states how many of the lower bits are
    /// fractions: 1 four, 2 three, any other value two. points: as many records, in the same order,
    /// provided by the caller. s divides depths (1000 turns millimetres into metres); fx, fy, cx
    /// and cy are the focal lengths and the principal point of a pinhole camera, in pixels:
    ///
    ///     z = depth / s, x = z * (u - cx) / fx, y = z * (v - cy) / fy
    ///
    /// u and v are a pixel's column and row from 0; images that are 284, 568 or 1136 wide begin at
    /// (25, 12), (50, 25) and (100, 50). Where depth is 0 the point is (0, 0, 0), and with
    /// limitRange also where depth is at least 4095 (type 1), 8191 (type 2) or 16383 (others).
    ///
    /// If one of s, fx, fy, cx, cy is not above 0 (or is not a number), all five are replaced by
    /// 1000, 425, 425, 200 and 320. Nothing else is checked. Always 0. Needs no initialize. Results
    /// are the same to the bit on every processor. Thread-safe.
    virtual int convertDepthToPointCloud(const unsigned short *depth, unsigned int width,
                                         unsigned int height, float s, float fx, float fy, float cx,
                                         float cy, typedefNubrixPoint3D *points,
                                         unsigned int pixelType, bool limitRange) = 0;
    /// Has the driver of an open device convert by its own means (with the camera's calibration,
    /// for example). Passes on the arguments, which are those of convertDepthToPointCloud, and
    /// returns the driver's status. -2 before initialize, -3 for an unknown device, -8 by drivers
    /// that have no conversion. Any thread; may block: it waits for other operations.
    virtual int convertDepthToPointCloud2(NubrixDevice *device, const unsigned short *depth,
                                          unsigned int width, unsigned int height, float s,
                                          float fx, float fy, float cx, float cy,
                                          typedefNubrixPoint3D *points, unsigned int pixelType,
                                          bool limitRange) = 0;
    /// Makes a point and a colour of each pixel of a depth image, in two threads of its own.
    ///
    /// Shapes and pixelType are as in convertDepthToPointCloud, and colours holds width * height
    /// records too. What differs: fractions of a depth are dropped; y and z are negated, so y grows
    /// upwards and z towards the camera; there are no offsets by the width; limitRange, fx, fy, cx
    /// and cy are not used. The camera is a built-in one, for images up to 640 wide or wider ones,
    /// and s is taken as it is. Depths that are no points: 0, 4095 (type 1), from 4000 on (type 2),
    /// 16383 (others); they give (0, 0, 0) in black. Colours run from blue (near) through green to
    /// red; depths above 4094 are red; alpha is 1.
    ///
    /// The first call of the process logs "creat color bar succed!" at level 4. Always 0. Needs no
    /// initialize. Thread-safe.
    virtual int convertDepthToPointCloudWithRGBA(const unsigned short *depth, unsigned int width,
                                                 unsigned int height, float s, float fx, float fy,
                                                 float cx, float cy, typedefNubrixPoint3D *points,
                                                 typedefNubrixRGBA *colours, unsigned int pixelType,
                                                 bool limitRange) = 0;

    /// Starts writing a firmware image, of the kind that the camera takes, into the camera. The
    /// rest is the upgrader's, which calls `callbacks`; it may still be running on return. While it
    /// runs the camera's hot-plug events stay with it. -3 for a camera that is not open, -1 for one
    /// that cannot be upgraded, else the upgrader's result. One upgrader serves a camera until it
    /// is closed. Needs no initialize.
    virtual int deviceStartUpgradeOffLine(NubrixDevice *device,
                                          const typedefNubrixUpgradeCallbacks *callbacks,
                                          const char *file) = 0;
    /// Passes an event that the application has seen itself to the upgrade that was started last;
    /// what the numbers mean is the upgrader's. Always 0.
    virtual int setDeviceStatusChange(int event, int detail, const char *path,
                                      unsigned int state) = 0;

    /// Sets or changes the callback of a stream, before or after its start; null ends its calls.
    /// After a stop the callback must be set again to be called again. -13 for an unknown handle.
    virtual int setStreamCallback(NubrixStream *stream, NubrixFrameCallback callback,
                                  void *user) = 0;

    /// Switches the USB driver's I2C mode, for cameras on a GMSL link. 0, or -1 without that
    /// driver. Needs no initialize.
    virtual int setGmslI2CStats(bool on) = 0;
    /// Sets the USB driver's I2C address, for cameras on a GMSL link. 0, or -1 without that driver.
    /// Needs no initialize.
    virtual int setGmslI2CAddress(std::string address) = 0;
};

/// The process-wide error number: one for all threads, set by the last operation that failed.
class NUBRIX_API NubrixErrorNumber {
public:
    /// Returns the same address as ErrnoLocal().
    static unsigned int *getErrnoLocation();
};

extern "C" {

/// The one context of the process, made on the first call. The library owns it until deleteContext.
/// Call it first from one thread.
NUBRIX_API NubrixBaseContext *ContextFactory();
/// Frees a context; call its destroy before: without it recorders are closed, and cameras, streams
/// and drivers are left as they are. Null does nothing.
NUBRIX_API void deleteContext(NubrixBaseContext *context);

/// Copies the attached cameras into `records`, which the caller owns. `count` is how many fit there
/// and becomes how many are attached; the first of them are copied, as many as fit. With a count of
/// 0 `records` may be null. Returns 0, -2 before initialize, or -4 without a count or without
/// records. Thread-safe, also while cameras arrive and leave.
NUBRIX_API int nubrixCopyDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count);

/// Where the error number is kept. Thread-safe.
NUBRIX_API unsigned int *ErrnoLocal();
/// Always null, whatever `code` is: there is no table of texts, the log states what went wrong.
NUBRIX_API const char *errorGetErrorCodeString(int code);

/// The folder of the library with a "/" at its end; set by setLogFileSavePath, empty before.
extern NUBRIX_API std::string NUBRIX_WORKING_PATH;
/// The path of nubrixLog.ini next to the library, whether it exists or not; set by
/// setLogFileSavePath, empty before.
extern NUBRIX_API char NUBRIX_INI_FILE_PATH[256];

/// @{
/// A loaded driver plug-in, as dlopen gave it; null without one. For diagnosis: it is the library's
/// to change.
extern NUBRIX_API void *libUvcDriverHandle;
extern NUBRIX_API void *libNetDriverHandle;
extern NUBRIX_API void *libMiniDriverHandle;
/// @}
/// @{
/// The function "driverDestroy" of a loaded driver plug-in; null without one. For diagnosis: it is
/// the library's to change.
extern NUBRIX_API void (*delUvcDriver)(nubrix::NubrixBaseDriver *driver);
extern NUBRIX_API void (*delNetDriver)(nubrix::NubrixBaseDriver *driver);
extern NUBRIX_API void (*delMiniDriver)(nubrix::NubrixBaseDriver *driver);
/// @}

}  // extern "C"
