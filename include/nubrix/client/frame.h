// One frame that the application holds.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "nubrix/client/library.h"
#include "nubrix/types.h"

namespace nubrix {
namespace client {

enum class StreamType : unsigned int {
    kColor = NUBRIX_STREAM_COLOR,
    kDepth = NUBRIX_STREAM_DEPTH,
    kInfrared = NUBRIX_STREAM_IR,
    kLightInfrared = NUBRIX_STREAM_LIGHT_IR,
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

/// An image in memory: rows from top to bottom. It owns nothing; it is valid as long as the Frame
/// that it came from, or a copy of it.
template <class T>
struct Image {
    const T *data;
    int width;                ///< pixels
    int height;               ///< pixels
    std::size_t bytesPerRow;  ///< from one row to the next

    const T *row(int y) const
    {
        return reinterpret_cast<const T *>(reinterpret_cast<const unsigned char *>(data) +
                                           static_cast<std::size_t>(y) * bytesPerRow);
    }
    /// Not checked: x from 0 to width - 1, y from 0 to height - 1.
    const T &operator()(int x, int y) const { return row(y)[x]; }
};

namespace detail {

class FramePool;

/// A frame and who shares it.
struct FrameSlot {
    std::atomic<unsigned int> references{0};
    typedefNubrixFrame *record = nullptr;
    std::shared_ptr<FramePool> pool;  // of the slot; null for a frame of its own memory
    typedefNubrixFrame own = {};
    std::vector<unsigned char> pixels;  // of own
};

/// The frames of one stream that the application holds: no frame takes memory from the heap.
class FramePool : public std::enable_shared_from_this<FramePool> {
public:
    /// As many frames as the library's pool of a stream has.
    static constexpr std::size_t kFrames = 10;

    explicit FramePool(std::shared_ptr<Library> library) : m_library(std::move(library)) {}

    /// A slot with one reference, null when none is free.
    FrameSlot *take(typedefNubrixFrame *record)
    {
        for (FrameSlot &slot : m_slots) {
            unsigned int none = 0;
            if (!slot.references.compare_exchange_strong(none, kTaken))
                continue;
            slot.record = record;
            slot.pool = shared_from_this();
            slot.references.store(1);
            return &slot;
        }
        return nullptr;
    }
    void release(typedefNubrixFrame *record) { m_library->context().releaseFrame(record); }
    /// How many frames the application holds.
    int held() const
    {
        int count = 0;
        for (const FrameSlot &slot : m_slots)
            count += slot.references.load() != 0 ? 1 : 0;
        return count;
    }

private:
    static constexpr unsigned int kTaken = 1U << 31;  // being filled or emptied

    friend void drop(FrameSlot *slot);

    const std::shared_ptr<Library> m_library;
    std::array<FrameSlot, kFrames> m_slots;
};

/// Drops a reference; the last one returns the frame.
inline void drop(FrameSlot *slot)
{
    unsigned int count = slot->references.load();
    for (;;) {
        const unsigned int next = count == 1 ? FramePool::kTaken : count - 1;
        if (!slot->references.compare_exchange_weak(count, next))
            continue;
        if (next != FramePool::kTaken)
            return;
        break;
    }
    if (!slot->pool) {
        delete slot;
        return;
    }
    // Held until the slot is free again: this may be the last thing that holds it.
    const std::shared_ptr<FramePool> pool = std::move(slot->pool);
    pool->release(slot->record);
    slot->references.store(0);
}

}  // namespace detail

/// A frame of a stream or of a recording. Copies share it; the last one returns it to the library,
/// on any thread, also after its stream, camera and session are gone (the library stays initialized
/// as long). A stream has 10 frames: an application that holds them all gets no further ones, see
/// Stream::figures. Copies may be used on several threads; one object is not thread-safe.
class Frame {
public:
    /// No frame.
    Frame() noexcept = default;
    Frame(const Frame &other) noexcept : m_slot(other.m_slot)
    {
        if (m_slot)
            ++m_slot->references;
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
            detail::drop(m_slot);
    }

    explicit operator bool() const noexcept { return m_slot != nullptr; }

    // What follows needs a frame.

    StreamType type() const { return static_cast<StreamType>(record().streamType); }
    NubrixPixelFormat format() const
    {
        return static_cast<NubrixPixelFormat>(record().pixelFormat);
    }
    int width() const { return record().width; }
    int height() const { return record().height; }
    /// Counts the frames that the camera captured, dropped ones included.
    unsigned int index() const { return record().frameIndex; }
    /// When it was captured.
    std::chrono::steady_clock::time_point time() const
    {
        const std::uint64_t us =
            static_cast<std::uint64_t>(record().timestampHigh) << 32 | record().timestampLow;
        return std::chrono::steady_clock::time_point(
            std::chrono::microseconds(static_cast<std::int64_t>(us)));
    }
    /// The driver's flags; 0 for a complete frame.
    unsigned int flags() const { return record().flags; }
    /// size() bytes; format() says how to read them.
    const unsigned char *data() const { return static_cast<const unsigned char *>(record().data); }
    std::size_t size() const { return record().dataSize; }
    /// What the functions of the library take.
    const typedefNubrixFrame &record() const { return *m_slot->record; }

    /// The pixels as an image of T: unsigned short for depths and 16-bit grey, unsigned char for
    /// 8-bit grey, RGB888Pixel for RGB888. Unsupported when a pixel of the format is not as large
    /// as a T, Error when the frame has too few bytes.
    template <class T>
    Image<T> image() const
    {
        if (sizeof(T) != bytesPerPixel())
            detail::fail("image", -8, 0,
                         "image: a pixel of this format has " + std::to_string(bytesPerPixel()) +
                             " bytes, not " + std::to_string(sizeof(T)));
        const std::size_t bytesPerRow = sizeof(T) * static_cast<std::size_t>(width());
        if (bytesPerRow * static_cast<std::size_t>(height()) > size())
            detail::fail("image", -4, 0,
                         "image: the frame is not complete: " + std::to_string(size()) +
                             " bytes are too few for its size");
        return {reinterpret_cast<const T *>(data()), width(), height(), bytesPerRow};
    }

    /// The distance at a pixel of a depth frame; 0 where nothing was measured. Unsupported for
    /// other formats, Error outside of the image.
    double millimetres(int x, int y) const
    {
        double steps = 1;  // in a millimetre
        switch (format()) {
            case NUBRIX_PIXEL_DEPTH_12_4:
                steps = 16;
                break;
            case NUBRIX_PIXEL_DEPTH_13_3:
                steps = 8;
                break;
            case NUBRIX_PIXEL_DEPTH_14_2:
                steps = 4;
                break;
            case NUBRIX_PIXEL_DEPTH_MM:
                break;
            default:
                detail::fail("millimetres", -8, 0, "millimetres: this is no depth frame");
        }
        if (x < 0 || y < 0 || x >= width() || y >= height())
            detail::fail("millimetres", -4, 0,
                         "millimetres: (" + std::to_string(x) + ", " + std::to_string(y) +
                             ") lies outside of the image");
        return image<unsigned short>()(x, y) / steps;
    }

    /// A frame of its own memory with the same contents. Hold these for long, not those of a
    /// stream.
    Frame clone() const
    {
        auto slot = std::make_unique<detail::FrameSlot>();
        slot->own = record();
        slot->pixels.assign(data(), data() + size());
        return ofOwnMemory(std::move(slot));
    }

    /// For this layer: takes over the reference of a slot.
    explicit Frame(detail::FrameSlot *slot) noexcept : m_slot(slot) {}
    /// For this layer: the frame `own` with the slot's pixels.
    static Frame ofOwnMemory(std::unique_ptr<detail::FrameSlot> slot)
    {
        slot->own.data = slot->pixels.data();
        slot->record = &slot->own;
        slot->references = 1;
        return Frame(slot.release());
    }

private:
    std::size_t bytesPerPixel() const
    {
        switch (format()) {
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
            case NUBRIX_PIXEL_NV21:
            case NUBRIX_PIXEL_I420:
            case NUBRIX_PIXEL_JPEG:
                break;
        }
        return 0;  // not a whole number
    }

    detail::FrameSlot *m_slot = nullptr;
};

}  // namespace client
}  // namespace nubrix
