// The way to a camera's registers, on which no call lasts longer than it may.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "net/Gvcp.h"

namespace nubrix::net {

/// All accesses between two calls of begin share one end: from then on they fail at once. The
/// camera knows its controller by the socket, so all writes go through this one. Not thread-safe,
/// but for endAt.
class ControlChannel {
public:
    using Clock = std::chrono::steady_clock;

    enum class Outcome {
        kFine,
        kRefused,  ///< by the camera; see refusal()
        kSilent,   ///< nothing was received for some time
        kLate,     ///< the camera answers, but the end has come
        kOdd,      ///< an answer that is none to what was asked
    };

    explicit ControlChannel(std::string address) : m_address(std::move(address)) {}

    /// Begins a call that must be done by then. Once a call has found the camera unresponsive, all
    /// of its accesses fail.
    void begin(Clock::time_point end);
    /// Every access fails from then on, whatever the end of its call, also one that waits.
    /// Thread-safe.
    void endAt(Clock::time_point end) { m_lastEnd = end.time_since_epoch().count(); }

    Outcome readRegister(std::uint32_t place, std::uint32_t &value);
    Outcome writeRegister(std::uint32_t place, std::uint32_t value);
    /// Any number of bytes; `place` is a multiple of 4.
    Outcome readMemory(std::uint32_t place, std::uint8_t *bytes, std::size_t size);
    Outcome writeMemory(std::uint32_t place, const std::uint8_t *bytes, std::size_t size);
    /// The end of this call has come.
    bool isLate() const { return Clock::now() >= m_end; }
    /// In this call nothing was received for some time.
    bool isSilent() const { return m_isSilent; }
    bool hasHeard() const { return m_hasHeard; }
    /// In this call something was not done because its end had come, or because of the silence.
    bool hasFailed() const { return m_hasFailed; }
    /// The camera's code of the refusal last.
    std::uint16_t refusal() const { return m_refusal; }

    /// Becomes the controller.
    Outcome takeControl();
    /// Gives up the control if this channel has it.
    void releaseControl();
    /// To be called every kBeat: the camera forgets a controller that it does not hear for longer.
    /// False when the control is lost.
    bool keepControl();

    static constexpr std::chrono::milliseconds kBeat{500};

private:
    Outcome ask(std::uint16_t command, const std::vector<std::uint32_t> &words, const Packet &bytes,
                Packet &content);
    std::optional<Outcome> outcomeAt(Clock::time_point now, Clock::time_point quiet);
    bool connect();

    const std::string m_address;
    std::optional<UdpSocket> m_socket;  // from the first access on
    std::atomic<Clock::rep> m_lastEnd{Clock::time_point::max().time_since_epoch().count()};
    Clock::time_point m_end;
    Clock::time_point m_lastKept;
    bool m_hasControl = false;
    bool m_isSilent = false;  // these three of this call
    bool m_hasHeard = false;
    bool m_hasFailed = false;
    std::uint16_t m_refusal = 0;
};

}  // namespace nubrix::net
