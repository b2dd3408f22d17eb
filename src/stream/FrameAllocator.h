// The pool of frames of one sensor.
#pragma once

#include <cstdint>
#include <memory>

#include "base/CriticalSectionImpl.h"
#include "base/sigslot.h"
#include "nubrix/driver.h"
#include "stream/InternalFrame.h"

namespace nubrix {

/// Hands out frames of one buffer size. It creates frames until reuseThreshold - 1 of them are
/// unused, and from then on reuses the one that was returned first; it never creates more than
/// maxFrames. Thread-safe.
class FrameAllocator final : public FrameAllocatorInterfaceBase {
public:
    /// Sizes in bytes.
    FrameAllocator(unsigned int bufferSize, unsigned int reuseThreshold, unsigned int maxFrames);
    ~FrameAllocator();
    FrameAllocator(const FrameAllocator &) = delete;
    FrameAllocator &operator=(const FrameAllocator &) = delete;

    /// A frame of getFrameBufferSize() bytes with one reference taken for the caller, or null when
    /// the pool is exhausted or there is no memory (both logged as errors).
    InternalFrame *allocOneFrame() override;
    unsigned int getFrameBufferSize() const override;
    /// Forgets all frames if the size changes; those still held are deleted with their last
    /// reference.
    void setFrameBufferSize(unsigned int size) override;
    void releaseAllFrame();
    /// How many requests it has refused.
    std::uint64_t refusedCount() const;
    HeldFrames &heldFrames() { return m_share->held; }

    /// Takes back a frame without references. For InternalFrame: the caller holds the pool's lock.
    void releaseBackFrame(InternalFrame *frame);

private:
    enum class Failure { kNone, kExhausted, kNoMemory };

    // Under the lock, which is never held during a call of the log. Null without memory.
    InternalFrame *createOneInterFrame();
    // Null with the reason, and the size that could not be allocated.
    InternalFrame *takeFrame(Failure &failure, unsigned int &size);
    InternalFrame *takeFreeFrame();

    const unsigned int m_reuseThreshold;
    const unsigned int m_maxFrames;
    const std::shared_ptr<FramePoolShare> m_share;

    sigslot::signal0<sigslot::single_threaded> m_detach;  // everything below is under its lock
    unsigned int m_frameBufferSize;
    unsigned int m_createdCount = 0;       // since the pool last forgot its frames
    InternalFrame *m_firstFree = nullptr;  // returned first; each links to the next
    InternalFrame *m_lastFree = nullptr;
    unsigned int m_freeCount = 0;
    std::uint64_t m_refusedCount = 0;
};

}  // namespace nubrix
