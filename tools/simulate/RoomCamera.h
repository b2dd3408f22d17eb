// The room of the virtual camera as the source of a network camera.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ModeRequest.h"
#include "SimulatedCamera.h"
#include "nubrix/types.h"
#include "virtual/SceneSource.h"

namespace nubrix::simulate {

/// A component of the room that a network camera can send; each is one pixel format.
struct RoomComponent {
    const char *name;          // "depth", the tool's name of the stream
    unsigned int streamType;   // a NubrixStreamType
    unsigned int pixelFormat;  // in the room, a NubrixPixelFormat
    std::uint32_t format;      // the same pixels in the numbering of GenICam
};

/// The frames that a network camera sends, one component at a time, and its settings.
class RoomCamera {
public:
    /// `components` lists at least one name. Throws std::runtime_error with the available modes
    /// when the room does not have `mode`.
    RoomCamera(const std::vector<std::string> &components, const tool::ModeRequest &mode);

    /// The caller sets the address and the serial number.
    simulator::SimulatedCameraSettings settings() const;
    /// "depth, color at 640x480@30".
    std::string summary() const;
    /// Writes the image of a frame. Thread-safe.
    void fill(std::uint32_t format, std::uint32_t frame, void *data);

private:
    typedefNubrixFrameMode modeOf(const RoomComponent &component) const;

    virtual_camera::SceneSource m_source;
    std::vector<RoomComponent> m_components;  // fixed after construction
    typedefNubrixFrameMode m_mode = {};       // of the first component
};

}  // namespace nubrix::simulate
