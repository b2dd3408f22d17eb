#include "net/ControlChannel.h"

#include <algorithm>
#include <utility>

#include "common/Report.h"

namespace nubrix::net {

namespace {

constexpr std::uint32_t kControlRegister = 0x0a00;
constexpr std::uint32_t kHeartbeatRegister = 0x0938;
constexpr std::uint32_t kControl = 2;
constexpr std::uint32_t kControlBits = 3;        // with exclusive access
constexpr std::uint32_t kHeartbeatMs = 1500;     // within which whoever opens it next may wait
constexpr std::chrono::seconds kLost{3};         // without an answer
constexpr std::chrono::milliseconds kSlice{20};  // within which another end is noticed
constexpr std::chrono::milliseconds kResend{200};
constexpr std::chrono::milliseconds kQuiet{400};
constexpr std::size_t kBlock = 512;  // bytes of memory in one packet

}  // namespace

void ControlChannel::begin(Clock::time_point end)
{
    m_end = end;
    m_isSilent = m_hasHeard = m_hasFailed = false;
}

bool ControlChannel::connect()
try {
    if (!m_socket) {
        m_socket.emplace();
        if (!m_socket->connectTo(m_address))
            m_socket.reset();
    }
    return m_socket.has_value();
} catch (...) {
    reportFailure("making a socket for a network camera");
    return false;
}

/// Why an access that waits is over; nothing while it is not.
std::optional<ControlChannel::Outcome> ControlChannel::outcomeAt(Clock::time_point now,
                                                                 Clock::time_point quiet)
{
    const bool isOver = now >= m_end || now.time_since_epoch().count() >= m_lastEnd;
    if (!isOver && now < quiet && !m_isSilent)
        return std::nullopt;
    m_hasFailed = true;
    m_isSilent = m_isSilent || now >= quiet;
    return m_hasHeard && !m_isSilent ? Outcome::kLate : Outcome::kSilent;
}

ControlChannel::Outcome ControlChannel::ask(std::uint16_t command,
                                            const std::vector<std::uint32_t> &words,
                                            const Packet &bytes, Packet &content)
{
    const std::uint16_t id = nextRequestId();
    const Packet request = makeRequest(command, id, words, bytes);
    auto resend = Clock::now();
    auto quiet = resend + kQuiet;
    if (!connect())
        return Outcome::kSilent;
    for (;;) {
        const auto now = Clock::now();
        if (const auto outcome = outcomeAt(now, quiet))
            return *outcome;
        if (now >= resend) {  // with the same number: the camera does it once
            m_socket->send(request);
            resend = now + kResend;
        }
        const Packet packet =
            m_socket->receive(std::min({resend, quiet, m_end, now + kSlice})).packet;
        if (const auto delay = delayIn(packet, id)) {
            m_hasHeard = true;
            resend = now + *delay + kResend;
            quiet = now + *delay + kQuiet;
        }
        auto answer = answerIn(packet, command, id);
        if (!answer)
            continue;
        m_hasHeard = true;
        content = std::move(answer->content);
        m_refusal = answer->status;
        return m_refusal == 0 ? Outcome::kFine : Outcome::kRefused;
    }
}

ControlChannel::Outcome ControlChannel::readRegister(std::uint32_t place, std::uint32_t &value)
{
    Packet content;
    const Outcome outcome = ask(kReadRegister, {place}, {}, content);
    if (outcome != Outcome::kFine)
        return outcome;
    if (content.size() < 4)
        return Outcome::kOdd;
    value = wordAt(content, 0);
    return outcome;
}

ControlChannel::Outcome ControlChannel::writeRegister(std::uint32_t place, std::uint32_t value)
{
    Packet content;
    return ask(kWriteRegister, {place, value}, {}, content);
}

ControlChannel::Outcome ControlChannel::readMemory(std::uint32_t place, std::uint8_t *bytes,
                                                   std::size_t size)
{
    for (std::size_t done = 0; done < size; done += kBlock) {
        const std::size_t part = std::min(kBlock, size - done);
        const auto from = static_cast<std::uint32_t>(place + done);
        Packet content;
        const Outcome outcome =
            ask(kReadMemory, {from, static_cast<std::uint32_t>((part + 3) / 4 * 4)}, {}, content);
        if (outcome != Outcome::kFine)
            return outcome;
        if (content.size() < 4 + part || wordAt(content, 0) != from)
            return Outcome::kOdd;
        std::copy_n(content.begin() + 4, part, bytes + done);
    }
    return Outcome::kFine;
}

ControlChannel::Outcome ControlChannel::writeMemory(std::uint32_t place, const std::uint8_t *bytes,
                                                    std::size_t size)
{
    for (std::size_t done = 0; done < size; done += kBlock) {
        const std::size_t part = std::min(kBlock, size - done);
        Packet content;
        const Outcome outcome = ask(kWriteMemory, {static_cast<std::uint32_t>(place + done)},
                                    Packet(bytes + done, bytes + done + part), content);
        if (outcome != Outcome::kFine)
            return outcome;
    }
    return Outcome::kFine;
}

ControlChannel::Outcome ControlChannel::takeControl()
{
    const Outcome outcome = writeRegister(kControlRegister, kControl);
    m_hasControl = outcome == Outcome::kFine;
    m_lastKept = Clock::now();
    // A camera that refuses the time-out keeps its own.
    if (m_hasControl)
        writeRegister(kHeartbeatRegister, kHeartbeatMs);
    return outcome;
}

void ControlChannel::releaseControl()
{
    if (m_hasControl)
        writeRegister(kControlRegister, 0);
    m_hasControl = false;
}

bool ControlChannel::keepControl()
{
    if (!m_hasControl)
        return true;
    std::uint32_t bits = 0;
    const auto now = Clock::now();
    begin(now + kBeat);
    if (readRegister(kControlRegister, bits) == Outcome::kFine) {
        m_lastKept = now;
        m_hasControl = (bits & kControlBits) != 0;
    } else {
        m_hasControl = now - m_lastKept < kLost;
    }
    return m_hasControl;
}

}  // namespace nubrix::net
