// The GenICam description of a simulated camera.
#pragma once

#include <string>

#include "SimulatedCamera.h"

namespace nubrix::simulator {

// Registers that the description adds to those of Aravis's fake camera; 4 bytes each.
constexpr unsigned int kRegisterFocalLength = 0x1000;
constexpr unsigned int kRegisterPrincipalU = 0x1004;
constexpr unsigned int kRegisterPrincipalV = 0x1008;
constexpr unsigned int kRegisterBaseline = 0x100c;
constexpr unsigned int kRegisterReset = 0x101c;
constexpr unsigned int kRegisterCoordinate =
    0x1020;  // 0 to 2: A to C, which select one of the three values below
constexpr unsigned int kRegisterCoordinateScale = 0x1030;   // three
constexpr unsigned int kRegisterCoordinateOffset = 0x1040;  // three
constexpr unsigned int kRegisterInvalidValue = 0x1050;      // three

/// The name of a pixel format in the standard, or an empty text. Thread-safe.
std::string genicamFormatName(unsigned int code);

/// The description in XML. Throws std::runtime_error for a format without a name. Thread-safe.
std::string describeCamera(const SimulatedCameraSettings &settings);

}  // namespace nubrix::simulator
