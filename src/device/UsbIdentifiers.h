// Which driver serves a USB camera that is opened by its descriptor.
#pragma once

#include <array>
#include <cstdint>

#include "nubrix/types.h"

namespace nubrix {

struct UsbIdentifier {
    std::uint16_t vendor;
    std::uint16_t product;
    DRIVER_TYPE driver;
};

/// Searched in order. Public identifiers of cameras that deliver standard formats, and three of our
/// own that tests and the virtual camera use.
extern const std::array<UsbIdentifier, 41> kUsbIdentifiers;

}  // namespace nubrix
