#include "Camera.h"

#include <algorithm>
#include <cerrno>

namespace nubrix::vm {

namespace {

// Requests of the USB and the UVC standards.
constexpr unsigned int kClassRequest = 0x20;
constexpr unsigned int kKindMask = 0x60;
constexpr unsigned int kToEndpoint = 0x02;
constexpr unsigned int kGetStatus = 0;
constexpr unsigned int kClearFeature = 1;
constexpr unsigned int kGetDescriptor = 6;
constexpr unsigned int kSetInterface = 11;
constexpr unsigned int kSetCurrent = 0x01;
constexpr unsigned int kGetMinimum = 0x82;
constexpr unsigned int kGetMaximum = 0x83;
constexpr unsigned int kGetStep = 0x84;
constexpr unsigned int kGetLength = 0x85;
constexpr unsigned int kGetInformation = 0x86;
constexpr unsigned int kGetDefault = 0x87;
constexpr unsigned int kBrightness = 2;

struct Setup {
    unsigned int type;
    unsigned int request;
    unsigned int value;
    unsigned int index;
};

Setup parse(const std::array<std::uint8_t, 8> &bytes)
{
    const auto word = [&bytes](std::size_t at) {
        return static_cast<unsigned int>(bytes[at] | bytes[at + 1] << 8);
    };
    return {bytes[0], bytes[1], word(2), word(4)};
}

// A request to a control that can be read and written, from 0 to `maximum`.
bool access(Bytes &value, const Bytes &maximum, unsigned int request, const Bytes &in, Bytes &out)
{
    switch (request) {
        case kSetCurrent:
            value = in;
            value.resize(maximum.size());
            return true;
        case kGetLength:
            append16(out, static_cast<unsigned int>(value.size()));
            return true;
        case kGetInformation:
            out.push_back(3);
            return true;
        case kGetMaximum:
            out = maximum;
            return true;
        case kGetStep:
            out.assign(value.size(), 0);
            out[0] = 1;
            return true;
        case kGetMinimum:
        case kGetDefault:
            out.assign(value.size(), 0);
            return true;
        default:
            out = value;
            return true;
    }
}

}  // namespace

Camera::Camera(const Options &options) : m_options(options), m_models(streamModels(options.formats))
{
    plug();
}

void Camera::plug()
{
    m_channels.clear();
    for (const StreamModel &model : m_models) {
        m_channels.emplace_back(model, m_options.isochronous);
    }
    m_stalled = false;
    m_brightness = {128, 0};
    m_registers = {{1, 2, 3, 4}, {0, 0, 0, 0, 0, 0, 0, 0}};
    m_port = std::make_unique<UsbipPort>(m_options.port, m_options.port + 1);
}

void Camera::serve()
{
    const std::optional<HostMessage> message = m_port->receive();
    if (!message) {
        unplug();
        return;
    }
    if (!message->transfer) {
        bool found = false;
        for (StreamChannel &channel : m_channels) {
            found = found || channel.takeBack(message->takenBack);
        }
        m_port->confirmTakenBack(message->sequence, found);
        return;
    }
    const Transfer &transfer = *message->transfer;
    if (transfer.endpoint >= 1 && transfer.endpoint <= m_channels.size()) {
        m_channels[transfer.endpoint - 1].add(transfer);
        return;
    }
    Bytes out;
    const bool known = transfer.endpoint == 0 && control(transfer, out);
    if (out.size() > transfer.length) {
        out.resize(transfer.length);
    }
    m_port->complete(transfer, known ? 0 : -EPIPE, out);
}

StreamChannel::Clock::time_point Camera::pump()
{
    auto next = StreamChannel::Clock::time_point::max();
    if (!m_port) {
        return next;
    }
    for (StreamChannel &channel : m_channels) {
        channel.pump(*m_port, m_stalled);
        next = m_stalled ? next : std::min(next, channel.due());
    }
    return next;
}

std::string Camera::obey(const std::string &command)
{
    if (command == "state") {
        return "ok " + state();
    }
    if (command == "plug" || command == "unplug" || command == "restart") {
        unplug();
        if (command != "unplug") {
            plug();
        }
    } else if (command == "stall" || command == "resume") {
        m_stalled = command == "stall";
    } else if (command == "cut" || command == "damage") {
        for (StreamChannel &channel : m_channels) {
            if (!channel.streaming()) {
                continue;
            }
            command == "cut" ? channel.cutNext() : channel.damageNext();
        }
    } else {
        return "no such command: " + command;
    }
    return "ok";
}

std::string Camera::state() const
{
    if (!m_port) {
        return "unplugged";
    }
    std::string text = m_stalled ? "stalled" : "plugged";
    for (const StreamChannel &channel : m_channels) {
        text += channel.streaming() ? std::string(" ") + channel.name() : std::string();
    }
    return text;
}

bool Camera::control(const Transfer &transfer, Bytes &out)
{
    const Setup setup = parse(transfer.setup);
    if ((setup.type & kKindMask) == kClassRequest) {
        const unsigned int interface = setup.index & 0xff;
        const unsigned int selector = setup.value >> 8;
        if (interface == 0) {
            return selector >= 1 &&
                   controlUnit(setup.index >> 8, selector, setup.request, transfer.data, out);
        }
        return interface <= m_channels.size() &&
               m_channels[interface - 1].control(setup.request, selector, transfer.data, out);
    }
    if (transfer.in) {
        if (setup.request == kGetStatus) {
            append16(out, 0);
            return true;
        }
        return setup.request == kGetDescriptor &&
               describe(setup.value >> 8, setup.value & 0xff, out);
    }
    const unsigned int number = setup.index & 0xf;
    if (number >= 1 && number <= m_channels.size()) {
        StreamChannel &channel = m_channels[number - 1];
        // The ways in which the host ends a bulk stream, and starts or ends an isochronous one.
        if (setup.request == kClearFeature && setup.type == kToEndpoint) {
            channel.stop();
        } else if (setup.request == kSetInterface && m_options.isochronous) {
            setup.value == 1 ? channel.start() : channel.stop();
        }
    }
    return true;
}

bool Camera::describe(unsigned int type, unsigned int index, Bytes &out) const
{
    switch (type) {
        case 1:
            out = deviceDescriptor();
            break;
        case 2:
            out = configurationDescriptor(m_models, m_options.isochronous);
            break;
        case 3:
            out = stringDescriptor(index, m_options.serial);
            break;
        default:
            break;
    }
    return !out.empty();
}

bool Camera::controlUnit(unsigned int unit, unsigned int selector, unsigned int request,
                         const Bytes &in, Bytes &out)
{
    if (unit == kProcessingUnit && selector == kBrightness) {
        return access(m_brightness, {255, 0}, request, in, out);
    }
    return unit == kExtensionUnit && selector <= m_registers.size() &&
           access(m_registers[selector - 1], Bytes(m_registers[selector - 1].size(), 255), request,
                  in, out);
}

}  // namespace nubrix::vm
