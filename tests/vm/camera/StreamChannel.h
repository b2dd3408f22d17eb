// One stream of the software camera: what the host negotiated and the transfers that carry
// frames.
#pragma once

#include <chrono>
#include <deque>

#include "CameraModel.h"
#include "UsbipPort.h"

namespace nubrix::vm {

/// Not thread-safe.
class StreamChannel {
public:
    using Clock = std::chrono::steady_clock;

    StreamChannel(const StreamModel &model, bool isochronous);

    const char *name() const { return m_model.name; }

    /// A class request to the streaming interface. False when the camera does not know it.
    bool control(unsigned int request, unsigned int selector, const Bytes &in, Bytes &out);

    /// Frames are numbered from 0 after each start.
    void start();
    void stop() { m_streaming = false; }
    bool streaming() const { return m_streaming; }

    void add(Transfer transfer) { m_transfers.push_back(std::move(transfer)); }
    bool takeBack(std::uint32_t sequence);

    /// Answers the transfers for which there are bytes now. No new frame while `stalled`.
    void pump(UsbipPort &port, bool stalled);

    /// When the next frame is due; never, if no transfer waits for it.
    Clock::time_point due() const;

    /// The next frame lacks its second half, or carries the error mark.
    void cutNext() { m_cutNext = true; }
    void damageNext() { m_damageNext = true; }

private:
    struct Settings {
        unsigned int format = 1;  // counted from 1, as frame
        unsigned int frame = 1;
        unsigned int interval = kIntervals[0];
    };
    Settings read(const Bytes &in) const;
    Bytes write(const Settings &settings) const;
    PixelFormat format(const Settings &settings) const;
    void beginFrame();
    void appendHeader(Bytes &bytes, bool last) const;
    std::size_t appendFrame(Bytes &bytes, std::size_t room);
    Bytes bulkBytes(std::size_t room);
    Bytes isochronousBytes(Transfer &transfer);

    const StreamModel &m_model;
    const bool m_isochronous;
    Settings m_probe;
    Settings m_commit;
    bool m_streaming = false;
    std::deque<Transfer> m_transfers;

    Clock::time_point m_due;
    unsigned int m_number = 0;
    Bytes m_frame;           // under way if not empty
    std::size_t m_sent = 0;  // bytes of it
    bool m_headerSent = false;
    bool m_cutNext = false;
    bool m_damageNext = false;
    bool m_damaged = false;  // the frame under way
};

}  // namespace nubrix::vm
