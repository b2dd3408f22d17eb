// The settings in nubrixNet.ini, and the names under which the driver reports.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "common/Report.h"

namespace nubrix::net {

inline constexpr Reporter kReporter = {"NubrixNetDriver", "nubrix network camera"};

/// The settings of the driver. The file and every entry are optional; an invalid entry is logged
/// and ignored. Thread-safe after construction.
class NetSettings {
public:
    /// Reads the section [network] of a file; with an empty path, nothing.
    explicit NetSettings(const std::string &path);
    /// The path of the file next to the plug-in.
    static std::string besidePlugin();

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
    std::string m_path;
    bool m_searchesInterfaces = true;
    std::vector<std::string> m_addresses;
    std::chrono::milliseconds m_responseTimeout;
    std::chrono::milliseconds m_holderTimeout;
    int m_packetSize = 0;
    bool m_packetSocket = false;
    bool m_incomplete = false;
};

}  // namespace nubrix::net
