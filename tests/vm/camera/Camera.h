// The software camera: answers the host's requests and obeys the commands of a test.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "StreamChannel.h"
#include "UsbipPort.h"

namespace nubrix::vm {

/// Not thread-safe.
class Camera {
public:
    struct Options {
        unsigned int port = 0;  // of the virtual host controller: 0 to 7
        std::string serial = "SOFT0001";
        std::string formats = "usual";  // which of the sets of formats
        bool isochronous = false;       // otherwise bulk endpoints
    };

    explicit Camera(const Options &options);

    /// Readable when the host wants something; -1 while unplugged.
    int descriptor() const { return m_port ? m_port->descriptor() : -1; }

    /// Answers one request of the host.
    void serve();

    /// Sends what is due; returns when the next frame is.
    StreamChannel::Clock::time_point pump();

    /// Obeys a command and returns the answer, which starts with "ok" unless it is not known.
    std::string obey(const std::string &command);

private:
    void plug();
    void unplug() { m_port.reset(); }
    std::string state() const;
    bool control(const Transfer &transfer, Bytes &out);
    bool describe(unsigned int type, unsigned int index, Bytes &out) const;
    bool controlUnit(unsigned int unit, unsigned int selector, unsigned int request,
                     const Bytes &in, Bytes &out);

    const Options m_options;
    const std::vector<StreamModel> &m_models;
    std::unique_ptr<UsbipPort> m_port;  // empty while unplugged
    std::vector<StreamChannel> m_channels;
    bool m_stalled = false;
    Bytes m_brightness;
    std::vector<Bytes> m_registers;  // of the extension unit, by selector from 1
};

}  // namespace nubrix::vm
