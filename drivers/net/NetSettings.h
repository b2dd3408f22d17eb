// The settings in nubrixNet.ini, and the names under which the driver reports.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "common/Report.h"

namespace nubrix::net {

inline constexpr Reporter kReporter = {"NubrixNetDriver", "nubrix network camera"};

/// The settings of the driver. Each file and every entry are optional; an invalid one is logged and
/// ignored. An entry without text stands for the default. Thread-safe after construction.
class NetSettings {
public:
    /// Reads the section [network] of the files with these paths; the entries of each file override
    /// those of the files before it.
    explicit NetSettings(const std::vector<std::string> &files);

    /// Whether cameras are searched for on all interfaces, and not only at addresses().
    bool searchesInterfaces() const { return m_searchesInterfaces; }
    /// IPv4 addresses of cameras that no broadcast reaches.
    const std::vector<std::string> &addresses() const { return m_addresses; }
    /// A camera that has neither answered nor sent a frame for so long is gone.
    std::chrono::milliseconds responseTimeout() const { return m_responseTimeout; }
    /// How long opening waits for a camera that another application controls.
    std::chrono::milliseconds holderTimeout() const { return m_holderTimeout; }
    /// In bytes; 0: negotiated with the camera.
    int packetSize() const { return m_packetSize; }
    bool usesPacketSocket() const { return m_packetSocket; }
    /// Whether incomplete frames are delivered.
    bool deliversIncomplete() const { return m_incomplete; }

    /// The pixel format, or component and pixel format ("Range:Mono16"), of a stream ("depth",
    /// "ir", "color") in the section of a camera, which is named after its serial number; an empty
    /// text if there is none.
    std::string formatOf(const std::string &serial, const std::string &stream) const;

private:
    std::vector<std::string> m_files;  // those that could be used
    bool m_searchesInterfaces;
    std::vector<std::string> m_addresses;
    std::chrono::milliseconds m_responseTimeout;
    std::chrono::milliseconds m_holderTimeout;
    int m_packetSize;
    bool m_packetSocket;
    bool m_incomplete;
};

}  // namespace nubrix::net
