/// @file
/// An open camera: modes, streams, properties, photos, recordings, firmware.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "nubrix/client/detail/bitmap.h"
#include "nubrix/client/recorder.h"
#include "nubrix/client/stream.h"

namespace nubrix {
namespace client {

/// An attached camera, as the library lists it.
struct CameraInfo {
    std::string uri;             ///< what Session::open takes
    std::string serialNumber;    ///< as the camera reports it
    std::string productName;     ///< the model, for people
    std::string location;        ///< where it is attached, as its driver writes it
    unsigned int vendorId = 0;   ///< of USB
    unsigned int productId = 0;  ///< of USB
    int transport = 0;           ///< 1 USB video, 2 and 3 network, 4 mini
    unsigned int state = 0;      ///< a NubrixDeviceState
};

/// How a stream's frames are.
struct Mode {
    NubrixPixelFormat format = NUBRIX_PIXEL_RGB888;  ///< of the pixels
    int width = 0;                                   ///< pixels
    int height = 0;                                  ///< pixels
    int framesPerSecond = 0;                         ///< at most 127

    /// @{
    /// Compares all four.
    bool operator==(const Mode &other) const
    {
        return format == other.format && width == other.width && height == other.height &&
               framesPerSecond == other.framesPerSecond;
    }
    bool operator!=(const Mode &other) const { return !(*this == other); }
    /// @}
};

/// Of a pinhole camera, in pixels of the stream's current mode.
struct Intrinsics {
    float fx;  ///< focal length along the rows
    float fy;  ///< focal length along the columns
    float cx;  ///< column of the principal point
    float cy;  ///< row of the principal point
};

/// An open camera. Copies share it; it is closed with the last copy and the last of its streams.
/// Any thread may call it. Every operation throws Error, Unplugged or Unsupported when it fails.
class Camera {
public:
    /// What the list of cameras had when this one was opened; only the URI when it was not listed.
    const CameraInfo &info() const { return m_info; }
    /// False from the moment that it has left. A camera that returns must be opened anew.
    bool isConnected() const { return m_camera->connection().isAttached(); }

    /// The modes of a stream; none when the camera has no such stream.
    std::vector<Mode> modes(StreamType type) const
    {
        const typedefNubrixFrameMode *modes = nullptr;
        unsigned int count = 0;
        require("getSupportFrameMode", subject(type), [&] {
            const int status = context().getSupportFrameMode(handle(), code(type), &modes, &count);
            return status == -4 || status == -8 ? 0 : status;  // no such stream
        });
        std::vector<Mode> all;
        for (unsigned int i = 0; modes && i < count; ++i)
            all.push_back(fromRecord(modes[i]));
        return all;
    }
    /// The mode in force, none when the camera has no such stream.
    std::optional<Mode> mode(StreamType type) const
    {
        const std::lock_guard<std::mutex> guard(m_camera->modeLock());
        const typedefNubrixFrameMode *mode = context().getCurrentFrameMode(handle(), code(type));
        if (!mode)
            return std::nullopt;
        return fromRecord(*mode);
    }
    /// Sets the mode of a stream, one of modes(type); the next start of the stream has it. Throws
    /// an Error for another one, and while a stream of this type runs.
    void setMode(StreamType type, const Mode &mode)
    {
        typedefNubrixFrameMode record = {};
        record.pixelFormat = mode.format;
        record.width = static_cast<unsigned short>(mode.width);
        record.height = static_cast<unsigned short>(mode.height);
        record.frameRate = static_cast<signed char>(mode.framesPerSecond);
        if (record.width != mode.width || record.height != mode.height ||
            record.frameRate != mode.framesPerSecond)
            detail::fail("setFrameMode", subject(type), -4);
        const std::lock_guard<std::mutex> guard(m_camera->modeLock());
        require("setFrameMode", subject(type),
                [&] { return context().setFrameMode(handle(), code(type), record); });
    }

    /// Starts a stream, in `mode` if there is one. `queued` frames, 1 to 5, wait to be taken; then
    /// the oldest is dropped for a new one. Error for another number. Several streams of one type
    /// are allowed.
    Stream start(StreamType type, const std::optional<Mode> &mode = std::nullopt,
                 std::size_t queued = 2)
    {
        if (queued < 1 || queued > detail::StreamCore::kMaxQueued) {
            detail::fail("start", -4, 0,
                         "start (" + subject(type) + "): " + std::to_string(queued) +
                             " frames cannot wait; choose 1 to " +
                             std::to_string(detail::StreamCore::kMaxQueued));
        }
        if (mode)
            setMode(type, *mode);
        auto core = std::make_shared<detail::StreamCore>(m_camera, type, queued);
        core->open();
        return Stream(std::move(core));
    }
    /// Starts a stream and calls `function` for every frame, the first included; see
    /// Stream::onFrame.
    Stream start(StreamType type, std::function<void(Frame)> function)
    {
        auto core = std::make_shared<detail::StreamCore>(m_camera, type, 1);
        core->setFunction(std::move(function));
        core->open();
        return Stream(std::move(core));
    }

    /// A property as bytes. `capacity` is the space in bytes that the driver is offered.
    std::vector<unsigned char> property(unsigned int id, std::size_t capacity = 4096) const
    {
        auto bytes = detail::allocating(
            "getDeviceProperty", [capacity] { return std::vector<unsigned char>(capacity); });
        auto size = static_cast<unsigned int>(capacity);
        getProperty(id, bytes.data(), &size);
        bytes.resize(std::min<std::size_t>(size, capacity));
        return bytes;
    }
    /// Writes a property from bytes.
    void setProperty(unsigned int id, const std::vector<unsigned char> &bytes)
    {
        setProperty(id, bytes.data(), bytes.size());
    }
    /// A property as a number or a record of plain data. Error when it has another size.
    template <class T>
    T property(unsigned int id) const
    {
        static_assert(std::is_trivially_copyable<T>::value, "a property is plain bytes");
        T value;
        auto size = static_cast<unsigned int>(sizeof(T));
        getProperty(id, &value, &size);
        if (size != sizeof(T)) {
            detail::fail("getDeviceProperty", -4, 0,
                         "getDeviceProperty: " + propertySubject(id) + " has " +
                             std::to_string(size) + " bytes, not " + std::to_string(sizeof(T)) +
                             "; read it as a type of that size");
        }
        return value;
    }
    /// Writes a property from a number or a record of plain data, of the size that the property
    /// has.
    template <class T>
    void setProperty(unsigned int id, const T &value)
    {
        static_assert(std::is_trivially_copyable<T>::value, "a property is plain bytes");
        static_assert(!std::is_pointer<T>::value, "the camera would get the address");
        setProperty(id, &value, sizeof(T));
    }

    /// The versions of SDK, firmware and hardware, and the serial number.
    NubrixVersions versions() const
    {
        NubrixVersions versions = {};
        require("getVersion", m_info.uri,
                [&] { return context().getVersion(handle(), &versions); });
        return versions;
    }
    /// The intrinsics of a stream in its current mode. Unsupported when the camera does not know
    /// them.
    Intrinsics intrinsics(StreamType type) const
    {
        return property<Intrinsics>(kIntrinsics + code(type));
    }

    /// Writes the next complete colour frame as a 24-bit bitmap, and returns it. Unsupported when
    /// it is not RGB888, Timeout when none comes, Error when the file cannot be written.
    Frame photo(const std::string &path, Milliseconds timeout = kDefaultTimeout)
    {
        Frame frame = start(StreamType::kColor, std::nullopt, 1).nextComplete(timeout);
        detail::writeBitmap(path, frame);
        return frame;
    }

    /// Records streams of these types into a file until the recorder is destroyed.
    Recorder record(const std::string &path, const std::vector<StreamType> &types)
    {
        return Recorder(m_camera, path, types);
    }

    /// Writes firmware into the camera; returns when it is done. `progress` is called with percents
    /// on another thread; when it throws it is not called again. Throws an Error with the
    /// upgrader's status.
    void upgrade(const std::string &file, std::function<void(int percent)> progress = nullptr)
    {
        Upgrade upgrade{std::move(progress), {}, {}, false, 0};
        const typedefNubrixUpgradeCallbacks callbacks = {&Upgrade::onProgress, &Upgrade::onFinished,
                                                         &upgrade};
        require("deviceStartUpgradeOffLine", file, [&] {
            return context().deviceStartUpgradeOffLine(handle(), &callbacks, file.c_str());
        });
        std::unique_lock<std::mutex> guard(upgrade.lock);
        upgrade.changed.wait(guard, [&] { return upgrade.finished; });
        if (upgrade.status != 0)
            detail::fail("upgrade", file, upgrade.status);
    }

    /// @{
    /// For the functions of NubrixBaseContext, while this or a copy lives.
    NubrixDevice *handle() const { return m_camera->handle(); }
    NubrixBaseContext &context() const { return m_camera->context(); }
    /// @}

private:
    friend class Session;

    /// Plus a stream type: the property with the intrinsics.
    static constexpr unsigned int kIntrinsics = 0x5600;

    /// @cond private
    struct Upgrade {
        std::function<void(int)> progress;
        std::mutex lock;
        std::condition_variable changed;
        bool finished;
        int status;

        static void onProgress(NubrixDevice * /*device*/, int percent, void *user)
        {
            auto &self = *static_cast<Upgrade *>(user);
            const detail::CallbackMark mark;
            try {
                if (self.progress)
                    self.progress(percent);
            } catch (...) {
                self.progress = nullptr;  // nothing may reach the library
            }
        }
        static void onFinished(NubrixDevice * /*device*/, int status, void *user)
        {
            auto &self = *static_cast<Upgrade *>(user);
            const std::lock_guard<std::mutex> guard(self.lock);
            self.finished = true;
            self.status = status;
            self.changed.notify_all();
        }
    };
    /// @endcond

    Camera(std::shared_ptr<detail::OpenCamera> camera, CameraInfo info)
        : m_camera(std::move(camera)), m_info(std::move(info))
    {
    }

    static unsigned int code(StreamType type) { return static_cast<unsigned int>(type); }
    static Mode fromRecord(const typedefNubrixFrameMode &record)
    {
        return {static_cast<NubrixPixelFormat>(record.pixelFormat), record.width, record.height,
                record.frameRate};
    }
    void getProperty(unsigned int id, void *data, unsigned int *size) const
    {
        require("getDeviceProperty", propertySubject(id),
                [&] { return context().getDeviceProperty(handle(), id, data, size); });
    }

    void setProperty(unsigned int id, const void *data, std::size_t size)
    {
        require("setDeviceProperty", propertySubject(id), [&] {
            return context().setDeviceProperty(handle(), id, data, static_cast<unsigned int>(size));
        });
    }
    std::string propertySubject(unsigned int id) const
    {
        return "property " + std::to_string(id) + " of " + m_info.uri;
    }
    std::string subject(StreamType type) const
    {
        return std::string(name(type)) + " of " + m_info.uri;
    }

    std::shared_ptr<detail::OpenCamera> m_camera;
    CameraInfo m_info;
};

}  // namespace client
}  // namespace nubrix
