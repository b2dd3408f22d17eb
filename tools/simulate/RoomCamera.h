// The virtual camera's room as what a network camera shows.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ModeRequest.h"
#include "SimulatedCamera.h"
#include "nubrix/types.h"
#include "virtual/SceneSource.h"

namespace nubrix {

/// What a network camera can show of the room: a pixel format each.
struct RoomComponent {
    const char *name;          // "depth", as the tool calls the stream
    unsigned int streamType;   // a NubrixStreamType
    unsigned int pixelFormat;  // of the room's picture, a NubrixPixelFormat
    std::uint32_t format;      // the same pixels, as GenICam numbers them
};

/// The pictures that a network camera sends, one component at a time, and what it tells of itself.
class RoomCamera {
public:
    /// `components` are names of them, at least one. Throws std::runtime_error,
    /// naming what there is, for a mode that the room is not to be had in.
    RoomCamera(const std::vector<std::string> &components, const tool::ModeRequest &mode);

    /// Address and serial number are left to be filled in.
    SimulatedCameraSettings settings() const;
    /// "depth, color at 640x480@30".
    std::string summary() const;
    /// Writes the picture of a frame. Thread-safe.
    void fill(std::uint32_t format, std::uint32_t frame, void *data);

private:
    typedefNubrixFrameMode modeOf(const RoomComponent &component) const;

    SceneSource m_source;
    std::vector<RoomComponent> m_components;  // fixed after construction
    typedefNubrixFrameMode m_mode = {};       // of the first one
};

}  // namespace nubrix
