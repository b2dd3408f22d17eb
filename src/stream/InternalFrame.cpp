#include "stream/InternalFrame.h"

#include <cstdlib>
#include <typeinfo>
#include <utility>

#include "base/CriticalSectionWrapper.h"
#include "stream/FrameAllocator.h"

namespace nubrix {

InternalFrame::InternalFrame(FrameAllocator &allocator, std::shared_ptr<FramePoolShare> share)
    : m_allocator(allocator), m_share(std::move(share))
{
}

bool InternalFrame::allocateBuffer(unsigned int size)
{
    if (size == 0)
        return true;
    m_frame.data = std::calloc(1, size);
    if (!m_frame.data)
        return false;
    m_bufferSize = size;
    return true;
}

void InternalFrame::releaseHeld(NubrixFrameRef *frame)
{
    if (typeid(*frame) == typeid(InternalFrame))  // else a frame that a driver made itself
        static_cast<InternalFrame *>(frame)->m_share->held.remove(frame);
    frame->release();
}

bool InternalFrame::isOf(const NubrixFrameRef *frame, const HeldFrames &held)
{
    return typeid(*frame) == typeid(InternalFrame) &&
           &static_cast<const InternalFrame *>(frame)->m_share->held == &held;
}

int InternalFrame::release()
{
    // The holder of the only reference needs no atomic operation: no other thread can reach the
    // frame.
    if (__atomic_load_n(&m_count, __ATOMIC_ACQUIRE) == 1)
        __atomic_store_n(&m_count, 0, __ATOMIC_RELAXED);
    else if (const int left = __atomic_sub_fetch(&m_count, 1, __ATOMIC_SEQ_CST))
        return counted(left);
    returnToPool();
    return 0;
}

void InternalFrame::dropShelved()
{
    if (__atomic_sub_fetch(&m_count, kShelved, __ATOMIC_SEQ_CST) == 0)
        returnToPool();
}

void InternalFrame::returnToPool()
{
    bool orphan = false;
    {
        const CriticalSectionScoped guard(m_share->lock);
        orphan = m_detached;
        if (!orphan)
            m_allocator.releaseBackFrame(this);
    }
    if (orphan)
        delete this;
}

}  // namespace nubrix
