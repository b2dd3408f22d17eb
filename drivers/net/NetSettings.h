// What nubrixNet.ini says.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace nubrix::net {

/// The file is optional, and so is every entry; one that cannot be understood is told and counts as
/// left out. Thread-safe once it is made.
class NetSettings {
public:
    /// Reads the section [network] of a file; an empty path is no file.
    explicit NetSettings(const std::string &path);
    /// The file beside the plug-in.
    static std::string besidePlugin();

    /// Cameras that no broadcast reaches, IPv4.
    const std::vector<std::string> &addresses() const { return m_addresses; }
    /// A camera that has neither answered nor sent a picture for so long is lost.
    std::chrono::milliseconds silence() const { return m_silence; }
    /// How long an opening waits for a camera that another application holds.
    std::chrono::milliseconds patience() const { return m_patience; }
    /// Bytes, 0: negotiated.
    int packetSize() const { return m_packetSize; }
    bool usesPacketSocket() const { return m_packetSocket; }
    /// Incomplete frames are delivered.
    bool deliversIncomplete() const { return m_incomplete; }

    /// The pixel format, or component and pixel format ("Range:Mono16"), that a camera's section,
    /// which is its serial number, gives to a stream ("depth", "ir", "color"); an empty text if it
    /// says nothing.
    std::string formatOf(const std::string &serial, const std::string &stream) const;

private:
    std::string m_path;
    std::vector<std::string> m_addresses;
    std::chrono::milliseconds m_silence;
    std::chrono::milliseconds m_patience;
    int m_packetSize = 0;
    bool m_packetSocket = false;
    bool m_incomplete = false;
};

}  // namespace nubrix::net
