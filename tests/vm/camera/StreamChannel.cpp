#include "StreamChannel.h"

#include <algorithm>

namespace nubrix::vm {

namespace {

// Requests and selectors of the UVC standard.
constexpr unsigned int kSetCurrent = 0x01;
constexpr unsigned int kGetLength = 0x85;
constexpr unsigned int kGetInformation = 0x86;
constexpr unsigned int kProbe = 1;
constexpr unsigned int kCommit = 2;
constexpr unsigned int kSettingsSize = 34;

// Bits of a payload header.
constexpr unsigned int kFrameBit = 0x01;
constexpr unsigned int kEndOfFrame = 0x02;
constexpr unsigned int kTimes = 0x0c;
constexpr unsigned int kError = 0x40;
constexpr unsigned int kEndOfHeader = 0x80;

unsigned int read32(const Bytes &bytes, std::size_t at)
{
    unsigned int value = 0;
    for (std::size_t index = 0; index < 4 && at + index < bytes.size(); ++index) {
        value |= static_cast<unsigned int>(bytes[at + index]) << (8 * index);
    }
    return value;
}

}  // namespace

StreamChannel::StreamChannel(const StreamModel &model, bool isochronous)
    : m_model(model), m_isochronous(isochronous)
{
}

bool StreamChannel::control(unsigned int request, unsigned int selector, const Bytes &in,
                            Bytes &out)
{
    if (selector != kProbe && selector != kCommit) {
        return false;
    }
    Settings &settings = selector == kProbe ? m_probe : m_commit;
    switch (request) {
        case kSetCurrent:
            settings = read(in);
            // The host needs no other sign to start a stream on a bulk endpoint.
            if (selector == kCommit && !m_isochronous) {
                start();
            }
            break;
        case kGetLength:
            append16(out, kSettingsSize);
            break;
        case kGetInformation:
            out.push_back(3);
            break;
        default:
            out = write(settings);
    }
    return true;
}

StreamChannel::Settings StreamChannel::read(const Bytes &in) const
{
    const auto known = [](unsigned int index, std::size_t count) {
        return index >= 1 && index <= count ? index : 1;
    };
    Settings settings;
    if (in.size() >= 8) {
        settings.format = known(in[2], m_model.formats.size());
        settings.frame = known(in[3], kSizes.size());
        settings.interval = read32(in, 4) > 500000 ? kIntervals[1] : kIntervals[0];
    }
    return settings;
}

Bytes StreamChannel::write(const Settings &settings) const
{
    const auto most =
        static_cast<unsigned int>(maxFrameBytes(format(settings), kSizes[settings.frame - 1]));
    Bytes out = {1, 0, static_cast<std::uint8_t>(settings.format),
                 static_cast<std::uint8_t>(settings.frame)};
    append32(out, settings.interval);
    out.resize(18);
    append32(out, most);
    append32(out, m_isochronous ? kIsochronousPacket : most + kPayloadHeader);
    append32(out, 48000000);
    out.resize(kSettingsSize);
    return out;
}

PixelFormat StreamChannel::format(const Settings &settings) const
{
    return m_model.formats[settings.format - 1];
}

void StreamChannel::start()
{
    m_streaming = true;
    m_number = 0;
    m_frame.clear();
    m_due = Clock::now();
}

bool StreamChannel::takeBack(std::uint32_t sequence)
{
    const auto found = std::find_if(
        m_transfers.begin(), m_transfers.end(),
        [sequence](const Transfer &transfer) { return transfer.sequence == sequence; });
    if (found == m_transfers.end()) {
        return false;
    }
    m_transfers.erase(found);
    return true;
}

void StreamChannel::pump(UsbipPort &port, bool stalled)
{
    while (m_streaming && !m_transfers.empty()) {
        if (m_frame.empty()) {
            if (stalled || Clock::now() < m_due) {
                return;
            }
            beginFrame();
        }
        Transfer transfer = std::move(m_transfers.front());
        m_transfers.pop_front();
        const Bytes data = m_isochronous ? isochronousBytes(transfer) : bulkBytes(transfer.length);
        port.complete(transfer, 0, data);
        if (m_sent == m_frame.size()) {
            m_frame.clear();
            ++m_number;
        }
    }
}

StreamChannel::Clock::time_point StreamChannel::due() const
{
    if (!m_streaming || m_transfers.empty()) {
        return Clock::time_point::max();
    }
    return m_due;
}

void StreamChannel::beginFrame()
{
    // A machine that is late does not get a burst afterwards.
    const auto interval = std::chrono::nanoseconds(std::int64_t{m_commit.interval} * 100);
    m_due = std::max(m_due + interval, Clock::now() - interval);
    m_frame = drawFrame(format(m_commit), kSizes[m_commit.frame - 1], m_number);
    if (m_cutNext) {
        // An odd length is no multiple of a packet, so the host sees the end.
        m_frame.resize(m_frame.size() / 4 * 2 + 1);
    }
    m_sent = 0;
    m_headerSent = false;
    m_damaged = m_damageNext;
    m_cutNext = false;
    m_damageNext = false;
}

void StreamChannel::appendHeader(Bytes &bytes, bool last) const
{
    unsigned int bits = kEndOfHeader | kTimes | (m_number % 2 ? kFrameBit : 0);
    bits |= last ? kEndOfFrame : 0;
    bits |= m_damaged ? kError : 0;
    const unsigned int clock = m_number * 1600000;
    bytes.push_back(kPayloadHeader);
    bytes.push_back(static_cast<std::uint8_t>(bits));
    append32(bytes, clock);
    append32(bytes, clock);
    append16(bytes, m_number * 33 % 2048);
}

std::size_t StreamChannel::appendFrame(Bytes &bytes, std::size_t room)
{
    const std::size_t count = std::min(room, m_frame.size() - m_sent);
    const auto from = m_frame.begin() + static_cast<std::ptrdiff_t>(m_sent);
    bytes.insert(bytes.end(), from, from + static_cast<std::ptrdiff_t>(count));
    m_sent += count;
    return count;
}

// The whole frame is one payload.
Bytes StreamChannel::bulkBytes(std::size_t room)
{
    Bytes bytes;
    if (!m_headerSent) {
        appendHeader(bytes, true);
        m_headerSent = true;
    }
    appendFrame(bytes, room - std::min(room, bytes.size()));
    return bytes;
}

// Each packet is a payload.
Bytes StreamChannel::isochronousBytes(Transfer &transfer)
{
    Bytes bytes;
    for (IsochronousPacket &packet : transfer.packets) {
        const std::size_t before = bytes.size();
        if (m_sent < m_frame.size() && packet.length > kPayloadHeader) {
            const std::size_t room = packet.length - kPayloadHeader;
            appendHeader(bytes, m_frame.size() - m_sent <= room);
            appendFrame(bytes, room);
        }
        packet.actualLength = static_cast<std::uint32_t>(bytes.size() - before);
    }
    return bytes;
}

}  // namespace nubrix::vm
