// Counts where the frames of one stream go.
#pragma once

#include <cstdint>

#include "nubrix/driver.h"
#include "nubrix/ledger.h"
#include "stream/HeldFrames.h"

namespace nubrix {

class Sensor;

/// Each frame that arrives is counted once more when it leaves the queue, by one of onReplaced,
/// onDiscarded, onDelivered and onRead. All but construction and destruction under the lock of the
/// stream's queue, so that the figures fit together at every moment.
class StreamLedger final {
public:
    /// Counts what the streams of the sensor share from here on.
    explicit StreamLedger(Sensor &sensor);
    ~StreamLedger();
    StreamLedger(const StreamLedger &) = delete;
    StreamLedger &operator=(const StreamLedger &) = delete;

    void onArrival()
    {
        ++m_counts.handedOver;
        m_isNewestUsed = false;
    }
    /// A frame has arrived that the stream does not take.
    void onUnwanted()
    {
        ++m_counts.handedOver;
        ++m_counts.discarded;
    }
    /// The newest frame is dropped, for a newer one or for another reason.
    void onReplaced() { ++(m_isNewestUsed ? m_counts.usedInPlace : m_counts.replaced); }
    void onDiscarded() { ++(m_isNewestUsed ? m_counts.usedInPlace : m_counts.discarded); }
    /// The newest frame is handed out to the callback, or to a reader.
    void onDelivered(const NubrixFrameRef *frame)
    {
        ++m_counts.delivered;
        m_callbackBegan = handOut(frame);
        m_isInCallback = true;
    }
    void onRead(const NubrixFrameRef *frame)
    {
        ++m_counts.read;
        handOut(frame);
    }

    /// A recorder gets a frame, the newest or the one that was read before.
    void onRecorder(bool isNewest)
    {
        ++m_counts.toRecorders;
        m_isNewestUsed = m_isNewestUsed || isNewest;
    }
    void onRecorded() { ++m_counts.recorded; }
    /// A photo of the newest frame is taken.
    void onPhoto() { m_isNewestUsed = true; }
    /// The callback has returned, which got the frame of the last onDelivered.
    void onCallbackReturned();

    /// The record without its size and what the driver knows.
    NubrixStreamLedger figures(std::uint64_t queued);

private:
    std::int64_t handOut(const NubrixFrameRef *frame);

    Sensor &m_sensor;
    const std::uint64_t m_refusedBefore;
    const std::uint64_t m_unclaimedBefore;
    HeldFrames::Account m_account;     // under the lock of the held frames
    NubrixStreamLedger m_counts = {};  // but for what figures() fills in
    std::int64_t m_callbackBegan = 0;  // while a callback runs
    bool m_isInCallback = false;
    bool m_isNewestUsed = false;  // by a recorder or for a photo
};

}  // namespace nubrix
