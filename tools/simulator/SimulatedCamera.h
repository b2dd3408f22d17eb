// A simulated network camera: a real GigE Vision server for any client.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace nubrix::simulator {

/// The settings of a simulated camera; pixel formats are the codes of the GenICam standard.
struct SimulatedCameraSettings {
    std::string address = "127.0.0.1";  ///< an address of this machine
    std::string vendor = "Nubrix";      ///< up to 31 bytes, as are model and version
    std::string model = "SimulatedCamera";
    std::string version = "1.0.2";
    std::string serial = "SIM1";                        ///< up to 15 bytes
    std::vector<std::uint32_t> formats = {0x011000b8};  ///< the camera starts with the first one
    unsigned int width = 640;                           ///< of the sensor, pixels
    unsigned int height = 480;
    unsigned int smallestWidth = 640;  ///< a client may set less than the sensor has
    unsigned int smallestHeight = 480;
    double frameRate = 30;          ///< at the start; a client may set 0.1 to 1000
    float focalLength = 577.5F;     ///< pixels
    float principalU = 319.5F;      ///< pixels
    float principalV = 239.5F;      ///< pixels
    float baseline = 75.0F;         ///< millimetres
    float coordinateScale = 0.25F;  ///< millimetres per count of a depth frame
    float coordinateOffset = 0.0F;  ///< millimetres
    float invalidValue = 0.0F;      ///< counts; means that nothing was measured
    unsigned int coordinate = 2;    ///< at the start, 0 to 2: A to C; depth is C
    double lostPackets = 0;         ///< share of the packets that are lost, 0 to 1
    std::string description = {};   ///< in GenICam's XML; empty: that of describeCamera
};

/// Serves from its construction to its destruction, which clients see as a lost connection. The
/// protocol fixes port 3956, so each address has at most one camera. Thread-safe.
class SimulatedCamera {
public:
    /// Writes a frame without gaps between the rows: `format` is one of the settings', frames are
    /// counted from 0 over all starts. Runs on the camera's own thread; must not throw.
    using Fill = std::function<void(std::uint32_t format, std::uint32_t frame, void *data,
                                    unsigned int width, unsigned int height)>;

    /// Throws std::runtime_error, with the reason and the remedy, when the camera cannot serve.
    SimulatedCamera(const SimulatedCameraSettings &settings, Fill fill);
    ~SimulatedCamera();
    SimulatedCamera(const SimulatedCamera &) = delete;
    SimulatedCamera &operator=(const SimulatedCamera &) = delete;

    /// Number of frames that were filled.
    std::uint32_t frames() const;
    /// Whether a client controls the camera.
    bool isControlled() const;

private:
    struct Server;

    const std::unique_ptr<Server> m_server;
};

}  // namespace nubrix::simulator
