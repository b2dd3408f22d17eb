// When the frame in a stream's queue counts as returned.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "nubrix/driver.h"

namespace nubrix {

/// A driver may wait with its next frame until the last one has been returned. While only a
/// recorder listens, or only photos are taken, nobody takes that one out of the queue: so it is
/// shelved once all listeners have seen it and the application does not read. It can still be read
/// afterwards. Under the lock of the stream's queue; `newest` is the frame in the queue, null for
/// none.
class FrameReturn final {
public:
    /// An application that has read, or was woken to read, is waited for so long.
    static constexpr std::chrono::milliseconds kReaderTime{1000};

    /// A frame has come into the queue, for the listeners or for the callback.
    void onArrival(bool forListeners);
    /// The application reads, or was woken to.
    void onReader() { m_hasRead = true; }
    /// A listener that leaves frames in the queue begins to take them.
    void onListenerBegins() { m_hasListener = m_listenerBegins = true; }
    /// It has no need of the newest one any more.
    void onListenerDone();
    /// A photo of the newest frame is taken.
    void onPhoto() { m_isInPhoto = true; }

    /// The listeners are notified of the newest frame.
    void beginNotifying() { m_notifiedArrival = m_arrival; }
    void endNotifying();
    /// What they are shown: the newest frame, or one that was read before they were notified of it.
    NubrixFrameRef *toShow(NubrixFrameRef *newest) const { return m_unshown ? m_unshown : newest; }

    /// Asked once after a listener has begun: whether it must be notified of the newest frame
    /// although the others were. So it is when the driver, which releases its frames otherwise,
    /// still holds it: there will be no other one.
    bool mustNotifyAgain(NubrixFrameRef *newest);
    /// Shelves the frame if it is time to.
    void shelveIfDone(NubrixFrameRef *newest);
    /// Shelves it at once: nobody is notified of it any more.
    void shelve(NubrixFrameRef *newest);
    /// Drops the queue's reference to a frame that the application has read, ...
    void onRead(NubrixFrameRef *newest);
    /// ... or that a newer one replaces.
    void drop(NubrixFrameRef *newest);
    /// The stream stops, with an empty queue.
    void reset();

private:
    using Time = std::chrono::steady_clock::time_point;

    bool isSeen() const;
    bool isReaderNear();

    std::uint64_t m_arrival = 0;  // of the newest frame
    std::uint64_t m_notifiedArrival = 0;
    bool m_forListeners = false;  // these five: of the newest frame
    bool m_notified = false;      //
    bool m_listenerDone = false;  //
    bool m_isInPhoto = false;     //
    bool m_shelved = false;       //
    bool m_listenerBegins = false;
    bool m_hasListener = false;           // now or before
    bool m_hasRead = false;               // since m_lastRead
    std::optional<Time> m_lastRead;       // seen when a frame could be shelved
    NubrixFrameRef *m_unshown = nullptr;  // holds a reference
};

}  // namespace nubrix
