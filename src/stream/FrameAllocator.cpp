#include "stream/FrameAllocator.h"

#include <new>

#include "base/CriticalSectionWrapper.h"
#include "base/LogCall.h"

namespace nubrix {

FrameAllocator::FrameAllocator(unsigned int bufferSize, unsigned int reuseThreshold,
                               unsigned int maxFrames)
    : m_reuseThreshold(reuseThreshold),
      m_maxFrames(maxFrames),
      m_share(std::make_shared<FramePoolShare>()),
      m_frameBufferSize(bufferSize)
{
}

FrameAllocator::~FrameAllocator()
{
    releaseAllFrame();
}

InternalFrame *FrameAllocator::allocOneFrame()
{
    Failure failure = Failure::kNone;
    unsigned int size = 0;
    InternalFrame *const frame = takeFrame(failure, size);
    if (failure == Failure::kExhausted)
        logPrint(kLogError, "no available Frame!!!");
    if (failure == Failure::kNoMemory)
        logPrint(kLogError, "can not alloc  size[%d]!!!", static_cast<int>(size));
    return frame;
}

InternalFrame *FrameAllocator::takeFrame(Failure &failure, unsigned int &size)
{
    const CriticalSectionScoped guard(m_share->lock);
    size = m_frameBufferSize;
    // Kept: with fewer spare frames than that none is reused, even when no more may be created; and
    // unsigned, so that a threshold of 0 never reuses. See docs/oddities.md.
    InternalFrame *frame = nullptr;
    if (m_freeCount != 0 && m_freeCount >= m_reuseThreshold - 1U) {
        frame = takeFreeFrame();
    } else if (m_createdCount >= m_maxFrames) {
        failure = Failure::kExhausted;
    } else {
        frame = createOneInterFrame();
        if (!frame)
            failure = Failure::kNoMemory;
    }
    if (frame)
        frame->adopt();
    else
        ++m_refusedCount;
    return frame;
}

InternalFrame *FrameAllocator::takeFreeFrame()
{
    InternalFrame *const frame = m_firstFree;
    m_firstFree = frame->m_nextFree;
    --m_freeCount;
    return frame;
}

InternalFrame *FrameAllocator::createOneInterFrame()
{
    InternalFrame *frame = nullptr;
    try {
        frame = new InternalFrame(*this, m_share);
        m_detach.connect(frame, &InternalFrame::onDetachFromAllocator);
    } catch (const std::bad_alloc &) {
        delete frame;
        return nullptr;
    }
    // Kept: a frame without memory for its buffer counts as one of the frames.
    ++m_createdCount;
    if (frame->allocateBuffer(m_frameBufferSize))
        return frame;
    delete frame;
    return nullptr;
}

std::uint64_t FrameAllocator::refusedCount() const
{
    const CriticalSectionScoped guard(m_share->lock);
    return m_refusedCount;
}

unsigned int FrameAllocator::getFrameBufferSize() const
{
    const CriticalSectionScoped guard(m_share->lock);
    return m_frameBufferSize;
}

void FrameAllocator::setFrameBufferSize(unsigned int size)
{
    const unsigned int old = getFrameBufferSize();
    if (size == old) {
        logPrint(kLogInfo, "Buffer Size do not need change[%d]", static_cast<int>(size));
        return;
    }
    logPrint(kLogInfo, "Change buffer Size from [%d] to [%d]", static_cast<int>(old),
             static_cast<int>(size));
    const CriticalSectionScoped guard(m_share->lock);
    releaseAllFrame();
    m_frameBufferSize = size;
}

void FrameAllocator::releaseAllFrame()
{
    const CriticalSectionScoped guard(m_share->lock);
    m_detach.emit();
    // From here on a frame that is still held has no tie to this pool but the shared lock.
    m_detach.disconnect_all();
    while (m_freeCount != 0)
        delete takeFreeFrame();
    m_createdCount = 0;
}

void FrameAllocator::releaseBackFrame(InternalFrame *frame)
{
    frame->m_nextFree = nullptr;
    if (m_freeCount++ == 0)
        m_firstFree = frame;
    else
        m_lastFree->m_nextFree = frame;
    m_lastFree = frame;
}

}  // namespace nubrix
