// The pooled frame behind every record that an application or a driver holds.
#pragma once

#include <memory>

#include "base/CriticalSectionImpl.h"
#include "base/sigslot.h"
#include "nubrix/driver.h"
#include "stream/HeldFrames.h"

namespace nubrix {

class FrameAllocator;

/// What a pool shares with its frames, which outlive it.
struct FramePoolShare {
    CriticalSectionImpl lock;  // guards what the pool does with its frames
    HeldFrames held;
};

/// A frame that returns to its pool when its last reference is dropped, or is deleted if the pool
/// has forgotten it meanwhile. References may be taken and dropped on any thread.
class InternalFrame final : public NubrixFrameRef,
                            public sigslot::has_slots<sigslot::single_threaded> {
public:
    InternalFrame(FrameAllocator &allocator, std::shared_ptr<FramePoolShare> share);

    int incRef() override { return counted(__atomic_add_fetch(&m_count, 1, __ATOMIC_SEQ_CST)); }
    int release() override;
    /// How many references are held.
    int count() const { return counted(__atomic_load_n(&m_count, __ATOMIC_ACQUIRE)); }
    /// Excludes one of the caller's references from the count: count() reports the frame as
    /// returned, but it does not go back to the pool until dropShelved.
    void shelve() { __atomic_add_fetch(&m_count, kShelved - 1, __ATOMIC_SEQ_CST); }
    /// Drops the reference that shelve excluded.
    void dropShelved();
    unsigned int bufferSize() const override { return m_bufferSize; }

    /// Allocates a zeroed buffer for the frame. False without memory.
    bool allocateBuffer(unsigned int size);
    /// Called by the pool, under its lock, when it forgets its frames.
    void onDetachFromAllocator() { m_detached = true; }
    /// Takes the first reference of a frame without references.
    void adopt() { __atomic_store_n(&m_count, 1, __ATOMIC_RELAXED); }

    /// Drops the reference of an application that a stream handed this frame out to.
    static void releaseHeld(NubrixFrameRef *frame);
    /// Whether a frame belongs to the pool with these held frames.
    static bool isOf(const NubrixFrameRef *frame, const HeldFrames &held);

    /// The frame whose record this is.
    static NubrixFrameRef *fromRecord(typedefNubrixFrame *record)
    {
        return static_cast<NubrixFrameRef *>(reinterpret_cast<FrameRecord *>(record));
    }

private:
    friend class FrameAllocator;

    // Shelved references are counted in the same word, above the others.
    static constexpr int kShelved = 1 << 16;

    ~InternalFrame() override = default;

    static int counted(int count) { return count & (kShelved - 1); }
    void returnToPool();

    unsigned int m_bufferSize = 0;
    FrameAllocator &m_allocator;  // valid while not detached
    const std::shared_ptr<FramePoolShare> m_share;
    bool m_detached = false;              // under the pool's lock, as is the next
    InternalFrame *m_nextFree = nullptr;  // while it is in the pool
};

}  // namespace nubrix
