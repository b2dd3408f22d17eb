// Frames that the application holds, counted without taking memory from the heap.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "nubrix/client/detail/library.h"
#include "nubrix/types.h"

namespace nubrix {
namespace client {
namespace detail {

class FramePool;

/// A frame and the number of those who share it.
struct FrameSlot {
    std::atomic<unsigned int> references{0};
    typedefNubrixFrame *record = nullptr;
    std::shared_ptr<FramePool> pool;  // of the slot; null for a frame with memory of its own
};

/// A frame with memory of its own.
struct OwnedFrame final : FrameSlot {
    typedefNubrixFrame own = {};
    std::vector<unsigned char> pixels;

    OwnedFrame(const typedefNubrixFrame &source, const void *data)
        : own(source),
          pixels(static_cast<const unsigned char *>(data),
                 static_cast<const unsigned char *>(data) + source.dataSize)
    {
        own.data = pixels.data();
        record = &own;
        references = 1;
    }
};

/// The frames of one stream that the application holds, those in the stream's queue included.
/// Thread-safe.
class FramePool : public std::enable_shared_from_this<FramePool> {
public:
    /// As many as the library has for all streams of one type of a camera.
    static constexpr std::size_t kFrames = 10;

    FramePool(std::shared_ptr<Library> library, unsigned int streamType)
        : m_library(std::move(library)), m_streamType(streamType)
    {
    }

    /// A slot with one reference, null when none is free.
    FrameSlot *take(typedefNubrixFrame *record)
    {
        for (FrameSlot &slot : m_slots) {
            unsigned int none = 0;
            if (!slot.references.compare_exchange_strong(none, kTaken, std::memory_order_acquire,
                                                         std::memory_order_relaxed))
                continue;
            slot.record = record;
            slot.pool = shared_from_this();
            slot.references.store(1, std::memory_order_release);
            return &slot;
        }
        return nullptr;
    }
    void release(typedefNubrixFrame *record) { m_library->context().releaseFrame(record); }
    int taken() const
    {
        int count = 0;
        for (const FrameSlot &slot : m_slots)
            count += slot.references.load(std::memory_order_relaxed) != 0 ? 1 : 0;
        return count;
    }
    unsigned int streamType() const { return m_streamType; }

    /// Drops a reference; the last one returns the frame.
    static void drop(FrameSlot *slot) noexcept
    {
        unsigned int count = slot->references.load(std::memory_order_acquire);
        while (count != 1) {  // whoever has the only reference is alone with the slot
            if (slot->references.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel,
                                                       std::memory_order_acquire))
                return;
        }
        // Held until the frame is returned: the slot may be the last one that holds it.
        const std::shared_ptr<FramePool> pool = std::move(slot->pool);
        if (!pool) {
            delete static_cast<OwnedFrame *>(slot);
            return;
        }
        // The slot first: once the frame is returned it may come again.
        typedefNubrixFrame *const record = slot->record;
        slot->references.store(0, std::memory_order_release);
        pool->release(record);
    }

    /// Of those taken: in the queue of the stream.
    int queued() const { return m_queued.load(std::memory_order_relaxed); }
    void setQueued(std::size_t count)
    {
        m_queued.store(static_cast<int>(count), std::memory_order_relaxed);
    }

private:
    static constexpr unsigned int kTaken = 1U << 31;  // being filled

    const std::shared_ptr<Library> m_library;
    const unsigned int m_streamType;
    std::array<FrameSlot, kFrames> m_slots;
    std::atomic<int> m_queued{0};
};

}  // namespace detail
}  // namespace client
}  // namespace nubrix
