// One port of the kernel's virtual USB host controller, and the USB/IP messages that pass it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "FrameContent.h"

namespace nubrix::vm {

struct IsochronousPacket {
    std::uint32_t offset;        // bytes in the host's buffer
    std::uint32_t length;        // bytes that fit
    std::uint32_t actualLength;  // bytes that came
};

/// A request of the host that waits for its answer.
struct Transfer {
    std::uint32_t sequence = 0;
    std::uint32_t endpoint = 0;
    bool in = false;
    std::uint32_t length = 0;  // bytes asked for
    std::array<std::uint8_t, 8> setup = {};
    Bytes data;  // what the host sends
    std::vector<IsochronousPacket> packets;
};

/// A transfer, or the wish to take one back.
struct HostMessage {
    std::uint32_t sequence = 0;  // of this message
    std::optional<Transfer> transfer;
    std::uint32_t takenBack = 0;  // sequence of the transfer
};

/// A device plugged in from construction to destruction. Not thread-safe.
class UsbipPort {
public:
    /// Waits up to 5 s for a port that was left just now. Throws std::runtime_error on failure.
    UsbipPort(unsigned int port, unsigned int deviceId);
    ~UsbipPort();
    UsbipPort(const UsbipPort &) = delete;
    UsbipPort &operator=(const UsbipPort &) = delete;

    /// Readable when a message waits.
    int descriptor() const { return m_socket; }

    /// Empty when the host has released the device.
    std::optional<HostMessage> receive();

    /// Answers a transfer with `status` (0 or a negative errno) and the bytes, which are the
    /// packets' one after the other if it is isochronous.
    void complete(const Transfer &transfer, int status, const Bytes &data);

    /// Answers the message `sequence`: the transfer is taken back, or was answered before.
    void confirmTakenBack(std::uint32_t sequence, bool wasThere);

private:
    bool readAll(void *bytes, std::size_t size);
    bool readTransfer(const std::array<std::uint32_t, 12> &header, Transfer &transfer);
    void writeAll(const void *bytes, std::size_t size);

    int m_socket = -1;
};

}  // namespace nubrix::vm
