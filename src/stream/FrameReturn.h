// When the frame in a stream's queue counts as returned.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "nubrix/driver.h"

namespace nubrix {

/// A driver may wait with its next frame until the last one has been returned. While only a
/// recorder listens, or only photos are taken, no reader removes that one from the queue: it is
/// shelved once all listeners have seen it and the application does not read. It can still be read
/// afterwards. Under the lock of the stream's queue; `newest` is the frame in the queue, null for
/// none.
class FrameReturn final {
public:
    /// How long a frame is kept for an application that has read, or was woken to read.
    static constexpr std::chrono::milliseconds kReaderTime{1000};

    /// A frame has arrived in the queue, for the listeners or for the callback.
    void onArrival(bool forListeners);
    /// The application reads, or was woken to.
    void onReader() { m_lastRead = std::chrono::steady_clock::now(); }
    /// A listener that leaves frames in the queue starts to use them.
    void onListenerBegins() { m_hasListener = m_listenerBegins = true; }
    /// That listener no longer needs the newest frame.
    void onListenerDone();
    /// A photo of the newest frame is taken.
    void onPhoto() { m_isInPhoto = true; }

    /// The listeners are notified of the newest frame.
    void beginNotifying() { m_notifiedArrival = m_arrival; }
    void endNotifying();
    /// The frame that listeners see: the newest, or one that was read before they were notified of
    /// it.
    NubrixFrameRef *frameForListeners(NubrixFrameRef *newest) const
    {
        return m_frameForListeners ? m_frameForListeners : newest;
    }

    /// True once after a listener has started, if it must be notified of the newest frame although
    /// the others have been: the driver still holds that frame, and may deliver no other one before
    /// it is returned.
    bool mustNotifyAgain(NubrixFrameRef *newest);
    /// Shelves the frame if all listeners have seen it and no reader is expected. Returns after how
    /// many milliseconds it must be called again, -1 for not before any other call.
    int shelveIfDone(NubrixFrameRef *newest);
    /// Shelves the frame at once: no listener is notified of it any more.
    void shelve(NubrixFrameRef *newest);
    /// Drops the queue's reference to a frame that the application has read.
    void onRead(NubrixFrameRef *newest);
    /// Drops the queue's reference to a frame that a newer one replaces.
    void drop(NubrixFrameRef *newest);
    /// The stream stops, with an empty queue.
    void reset();

private:
    using Time = std::chrono::steady_clock::time_point;

    bool isSeen() const;
    int readerTimeLeftMs() const;

    std::uint64_t m_arrival = 0;  // of the newest frame
    std::uint64_t m_notifiedArrival = 0;
    bool m_forListeners = false;  // these five describe the newest frame
    bool m_notified = false;      //
    bool m_listenerDone = false;  //
    bool m_isInPhoto = false;     //
    bool m_shelved = false;       //
    bool m_listenerBegins = false;
    bool m_hasListener = false;                     // now or before
    std::optional<Time> m_lastRead;                 // by the application
    NubrixFrameRef *m_frameForListeners = nullptr;  // holds a reference
};

}  // namespace nubrix
