/// @file
/// One frame that the application holds.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "nubrix/client/detail/frame_pool.h"
#include "nubrix/client/error.h"
#include "nubrix/types.h"

namespace nubrix {
namespace client {

/// Which images of a camera a stream carries.
enum class StreamType : unsigned int {
    kColor = NUBRIX_STREAM_COLOR,             ///< colour
    kDepth = NUBRIX_STREAM_DEPTH,             ///< distances along the optical axis
    kInfrared = NUBRIX_STREAM_IR,             ///< infrared
    kLightInfrared = NUBRIX_STREAM_LIGHT_IR,  ///< infrared under an illuminator
};

/// "color", "depth", "ir" or "light-ir", as the tool names them.
inline const char *name(StreamType type)
{
    switch (type) {
        case StreamType::kColor:
            return "color";
        case StreamType::kDepth:
            return "depth";
        case StreamType::kInfrared:
            return "ir";
        case StreamType::kLightInfrared:
            return "light-ir";
    }
    return "unknown";
}

/// The bytes of an image of a NubrixPixelFormat and of that many pixels; 1 for formats of variable
/// size, such as JPEG.
inline std::uint64_t imageBytes(unsigned int format, std::uint64_t width, std::uint64_t height)
{
    switch (format) {
        case NUBRIX_PIXEL_RGB888:
            return width * height * 3;
        case NUBRIX_PIXEL_GREY8:
            return width * height;
        case NUBRIX_PIXEL_DEPTH_12_4:
        case NUBRIX_PIXEL_DEPTH_13_3:
        case NUBRIX_PIXEL_DEPTH_14_2:
        case NUBRIX_PIXEL_DEPTH_MM:
        case NUBRIX_PIXEL_GREY16:
            return width * height * 2;
        case NUBRIX_PIXEL_YUYV:
        case NUBRIX_PIXEL_UYVY:
            return (width + 1) / 2 * 4 * height;
        case NUBRIX_PIXEL_NV21:
        case NUBRIX_PIXEL_I420:
            return width * height + (width + 1) / 2 * ((height + 1) / 2) * 2;
        default:
            return 1;
    }
}

/// An image in memory: rows from top to bottom. It owns nothing, and is valid as long as the Frame
/// that it came from, or a copy of that.
template <class T>
struct Image {
    const T *data;            ///< the first pixel
    int width;                ///< pixels
    int height;               ///< pixels
    std::size_t bytesPerRow;  ///< from one row to the next

    /// A row of `width` pixels. Not checked: y from 0 to height - 1.
    const T *row(int y) const
    {
        const void *const bytes = reinterpret_cast<const unsigned char *>(data) +
                                  static_cast<std::size_t>(y) * bytesPerRow;
        return static_cast<const T *>(bytes);
    }
    /// A pixel. Not checked: x from 0 to width - 1, y from 0 to height - 1.
    const T &operator()(int x, int y) const { return row(y)[x]; }
};

namespace detail {

class StreamCore;

/// Bytes of a pixel; 0 for formats whose pixels are no whole number of bytes.
inline std::size_t bytesPerPixel(unsigned int format)
{
    switch (format) {
        case NUBRIX_PIXEL_RGB888:
            return 3;
        case NUBRIX_PIXEL_GREY8:
            return 1;
        case NUBRIX_PIXEL_DEPTH_12_4:
        case NUBRIX_PIXEL_DEPTH_13_3:
        case NUBRIX_PIXEL_DEPTH_14_2:
        case NUBRIX_PIXEL_DEPTH_MM:
        case NUBRIX_PIXEL_GREY16:
        case NUBRIX_PIXEL_YUYV:
        case NUBRIX_PIXEL_UYVY:
            return 2;
        default:
            return 0;
    }
}

/// How many units of a depth are one millimetre; 0 for formats that are no depths.
inline int depthUnitsPerMillimetre(unsigned int format)
{
    switch (format) {
        case NUBRIX_PIXEL_DEPTH_12_4:
            return 16;
        case NUBRIX_PIXEL_DEPTH_13_3:
            return 8;
        case NUBRIX_PIXEL_DEPTH_14_2:
            return 4;
        case NUBRIX_PIXEL_DEPTH_MM:
            return 1;
        default:
            return 0;
    }
}

/// Of a time stamp; the last time that there is for one beyond that, as a damaged file may have it.
inline std::chrono::steady_clock::time_point timeOf(std::uint64_t stamp)
{
    using Time = std::chrono::steady_clock::time_point;
    using Microseconds = std::chrono::microseconds;
    const auto last = std::chrono::duration_cast<Microseconds>(Time::max().time_since_epoch());
    if (stamp > static_cast<std::uint64_t>(last.count()))
        return Time(last);
    return Time(Microseconds(static_cast<std::int64_t>(stamp)));
}

inline std::chrono::steady_clock::time_point captureTime(const typedefNubrixFrame &record)
{
    return timeOf(static_cast<std::uint64_t>(record.timestampHigh) << 32 | record.timestampLow);
}

}  // namespace detail

/// A frame of a stream or of a recording. Copies share it; the last one returns it to the library,
/// on any thread, also after its stream, camera and session are gone (the library stays initialized
/// as long). The streams of one type of a camera share 10 frames: an application that holds more
/// than 6, those that wait in its streams included, may get no further ones, so hold clones. Copies
/// may be used on several threads; one object is not thread-safe. What points into a frame is not
/// given by a temporary one: name it first.
class Frame {
public:
    /// No frame.
    Frame() noexcept = default;
    /// @{
    /// Copies share the frame; the last one returns it.
    Frame(const Frame &other) noexcept : m_slot(other.m_slot)
    {
        if (m_slot)
            m_slot->references.fetch_add(1, std::memory_order_relaxed);
    }
    Frame(Frame &&other) noexcept : m_slot(std::exchange(other.m_slot, nullptr)) {}
    Frame &operator=(Frame other) noexcept
    {
        std::swap(m_slot, other.m_slot);
        return *this;
    }
    ~Frame()
    {
        if (m_slot)
            detail::FramePool::drop(m_slot);
    }
    /// @}

    /// Whether this holds a frame. What follows throws an Error when this holds no frame.
    explicit operator bool() const noexcept { return m_slot != nullptr; }

    /// Of which stream it is.
    StreamType type() const { return static_cast<StreamType>(record().streamType); }
    /// The format of the pixels.
    NubrixPixelFormat format() const
    {
        return static_cast<NubrixPixelFormat>(record().pixelFormat);
    }
    /// Pixels in a row.
    int width() const { return record().width; }
    /// Rows.
    int height() const { return record().height; }
    /// Counts the frames that the camera captured, dropped ones included.
    unsigned int index() const { return record().frameIndex; }
    /// When it was captured, to the microsecond; of a recording, by the clock of that time.
    std::chrono::steady_clock::time_point time() const { return detail::captureTime(record()); }
    /// The driver's flags; 0 for a complete frame.
    unsigned int flags() const { return record().flags; }
    /// size() bytes; their layout is that of format().
    const unsigned char *data() const &
    {
        return static_cast<const unsigned char *>(record().data);
    }
    const unsigned char *data() const && = delete;  // it would not outlive this
    /// Bytes of pixels.
    std::size_t size() const { return record().dataSize; }
    /// Whether it has all bytes of an image of its format and size.
    bool isComplete() const
    {
        return width() > 0 && height() > 0 && data() &&
               size() >= imageBytes(record().pixelFormat, static_cast<std::uint64_t>(width()),
                                    static_cast<std::uint64_t>(height()));
    }
    /// What the functions of the library take.
    const typedefNubrixFrame &record() const &
    {
        if (!m_slot)
            detail::fail("Frame", -4, 0, "Frame: it holds no frame; check it before it is used");
        return *m_slot->record;
    }
    const typedefNubrixFrame &record() const && = delete;

    /// The pixels as an image of T: unsigned short for depths and 16-bit grey, unsigned char for
    /// 8-bit grey, RGB888Pixel (nubrix/image.h) for RGB888. Unsupported when a pixel of the format
    /// has not the size of a T, Error when the frame has too few bytes.
    template <class T>
    Image<T> image() const &
    {
        const std::size_t pixelBytes = detail::bytesPerPixel(record().pixelFormat);
        if (sizeof(T) != pixelBytes) {
            detail::fail("image", -8, 0,
                         "image: a pixel of this format has " + std::to_string(pixelBytes) +
                             " bytes, not " + std::to_string(sizeof(T)) +
                             "; choose the type by Frame::format");
        }
        // In 64 bits: on a 32-bit system the product may not fit, and a file may say anything.
        const bool hasPixels = width() > 0 && height() > 0;
        const std::uint64_t bytesPerRow =
            hasPixels ? std::uint64_t{sizeof(T)} * static_cast<unsigned int>(width()) : 0;
        if (!hasPixels || bytesPerRow * static_cast<unsigned int>(height()) > size()) {
            detail::fail("image", -4, 0,
                         "image: the frame is not complete, it has " + std::to_string(size()) +
                             " bytes; skip it");
        }
        return {static_cast<const T *>(record().data), width(), height(),
                static_cast<std::size_t>(bytesPerRow)};
    }
    template <class T>
    Image<T> image() const && = delete;

    /// The distance at a pixel of a depth frame in millimetres, along the optical axis; 0 where
    /// nothing was measured. Unsupported for other formats, Error outside of the image.
    double millimetres(int x, int y) const
    {
        const int units = unitsPerMillimetre("millimetres");
        if (x < 0 || y < 0 || x >= width() || y >= height()) {
            detail::fail("millimetres", -4, 0,
                         "millimetres: (" + std::to_string(x) + ", " + std::to_string(y) +
                             ") lies outside of the image; it is " + std::to_string(width()) +
                             " x " + std::to_string(height()));
        }
        return static_cast<double>(image<unsigned short>()(x, y)) / units;
    }

    /// What a depth frame's values are to be multiplied with: 1, 1/4, 1/8 or 1/16 by its format.
    /// Unsupported for other formats.
    double millimetresPerUnit() const { return 1.0 / unitsPerMillimetre("millimetresPerUnit"); }

    /// A frame with memory of its own and the same contents. Hold these for long, not those of a
    /// stream. Error when there is too little memory.
    Frame clone() const { return owned("clone", record(), record().data); }

private:
    friend class detail::StreamCore;
    friend class Recording;

    /// Takes over a reference of a slot.
    explicit Frame(detail::FrameSlot *slot) noexcept : m_slot(slot) {}
    int unitsPerMillimetre(const char *operation) const
    {
        const int units = detail::depthUnitsPerMillimetre(record().pixelFormat);
        if (units == 0) {
            detail::fail(
                operation, -8, 0,
                std::string(operation) + ": this is no depth frame; start StreamType::kDepth");
        }
        return units;
    }
    static Frame owned(const char *operation, const typedefNubrixFrame &record, const void *data)
    {
        return detail::allocating(operation,
                                  [&] { return Frame(new detail::OwnedFrame(record, data)); });
    }

    detail::FrameSlot *m_slot = nullptr;
};

}  // namespace client
}  // namespace nubrix
