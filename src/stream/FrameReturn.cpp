#include "stream/FrameReturn.h"

#include <utility>

#include "stream/InternalFrame.h"

namespace nubrix {

void FrameReturn::onArrival(bool forListeners)
{
    ++m_arrival;
    m_forListeners = forListeners;
    m_notified = m_listenerDone = m_isInPhoto = m_shelved = false;
    if (m_frameForListeners)  // the listeners see the newer one
        std::exchange(m_frameForListeners, nullptr)->release();
}

void FrameReturn::onListenerDone()
{
    m_hasListener = true;
    m_listenerDone = true;
}

bool FrameReturn::mustNotifyAgain(NubrixFrameRef *newest)
{
    if (!std::exchange(m_listenerBegins, false) || !m_forListeners || m_listenerDone || m_shelved)
        return false;
    const auto *const frame = dynamic_cast<InternalFrame *>(newest);
    return frame && frame->count() > 1;
}

void FrameReturn::endNotifying()
{
    m_notified = m_notifiedArrival == m_arrival;  // else another frame has arrived meanwhile
    if (m_notified && m_frameForListeners)
        std::exchange(m_frameForListeners, nullptr)->release();
}

void FrameReturn::shelveIfDone(NubrixFrameRef *newest)
{
    if (isSeen() && !isReaderExpected())
        shelve(newest);
}

bool FrameReturn::isSeen() const
{
    if (m_notified && m_listenerDone)
        return true;
    // A photo has been taken of it, and no listener must be notified of it first.
    return m_isInPhoto && m_forListeners && !m_listenerBegins && (m_notified || !m_hasListener);
}

void FrameReturn::shelve(NubrixFrameRef *newest)
{
    auto *const frame = m_shelved ? nullptr : dynamic_cast<InternalFrame *>(newest);
    if (!frame)  // not a frame of the pool
        return;
    frame->shelve();
    m_shelved = true;
}

void FrameReturn::onRead(NubrixFrameRef *newest)
{
    if (m_hasListener && m_forListeners && !m_notified && !m_frameForListeners && !m_shelved)
        m_frameForListeners = newest;
    else
        drop(newest);
}

void FrameReturn::drop(NubrixFrameRef *newest)
{
    if (std::exchange(m_shelved, false))
        static_cast<InternalFrame *>(newest)->dropShelved();
    else
        newest->release();
}

void FrameReturn::reset()
{
    onArrival(false);
    m_hasRead = false;
    m_lastRead.reset();
}

bool FrameReturn::isReaderExpected()
{
    const Time now = std::chrono::steady_clock::now();
    if (std::exchange(m_hasRead, false))
        m_lastRead = now;
    return m_lastRead && now - *m_lastRead < kReaderTime;
}

}  // namespace nubrix
