#include "stream/StreamLedger.h"

#include "base/Clock.h"
#include "stream/InternalFrame.h"
#include "stream/Sensor.h"

namespace nubrix {

StreamLedger::StreamLedger(Sensor &sensor)
    : m_sensor(sensor),
      m_refusedBefore(sensor.pool().refusedCount()),
      m_unclaimedBefore(sensor.unclaimedCount())
{
}

StreamLedger::~StreamLedger()
{
    m_sensor.pool().heldFrames().forget(m_account);
}

// Returns the time.
std::int64_t StreamLedger::handOut(const NubrixFrameRef *frame)
{
    const std::int64_t now = timeMicros();
    HeldFrames &held = m_sensor.pool().heldFrames();
    if (InternalFrame::isOf(frame, held))
        held.add(frame, m_account, now);
    else
        held.addReleased(m_account);
    return now;
}

void StreamLedger::onCallbackReturned()
{
    m_isInCallback = false;
    m_counts.callbackMicroseconds += static_cast<std::uint64_t>(timeMicros() - m_callbackBegan);
}

NubrixStreamLedger StreamLedger::figures(std::uint64_t queued)
{
    const std::int64_t now = timeMicros();
    NubrixStreamLedger ledger = m_counts;
    if (m_isInCallback)
        ledger.callbackMicroseconds += static_cast<std::uint64_t>(now - m_callbackBegan);
    ledger.queued = queued;
    ledger.refused = m_sensor.pool().refusedCount() - m_refusedBefore;
    ledger.unclaimed = m_sensor.unclaimedCount() - m_unclaimedBefore;
    m_sensor.pool().heldFrames().fill(m_account, now, ledger);
    return ledger;
}

}  // namespace nubrix
