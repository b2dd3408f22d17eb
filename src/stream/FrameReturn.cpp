#include "stream/FrameReturn.h"

#include <algorithm>
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

int FrameReturn::shelveIfDone(NubrixFrameRef *newest)
{
    if (!newest || m_shelved || !isSeen())
        return -1;
    if (const int left = readerTimeLeftMs())
        return left;
    shelve(newest);
    return -1;
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
    m_lastRead.reset();
}

int FrameReturn::readerTimeLeftMs() const
{
    if (!m_lastRead)
        return 0;
    const auto left = *m_lastRead + kReaderTime - std::chrono::steady_clock::now();
    return std::max(0,
                    static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count()));
}

}  // namespace nubrix
