// Controls of a camera: those that the kernel knows, and raw requests to its extension units.
#pragma once

#include <cstdint>
#include <vector>

#include "uvc/NodeIo.h"

namespace nubrix {

/// The value of a control of the kernel's, from the first node that has it: -8 when none has, or
/// when it cannot be read, or another status.
int getControl(const std::vector<NodeIo *> &nodes, std::uint32_t id, std::int32_t &value);
/// Likewise. -4 for a value out of range.
int setControl(const std::vector<NodeIo *> &nodes, std::uint32_t id, std::int32_t value);

/// The head of a request to an extension unit, followed by the data to be set. Numbers are
/// little-endian.
struct ExtensionRequest {
    std::uint8_t query;     ///< UVC_SET_CUR 0x01, UVC_GET_CUR 0x81, ... UVC_GET_DEF 0x87
    std::uint8_t unit;      ///< bUnitID of the extension unit
    std::uint8_t selector;  ///< number of the control in it, from 1
    std::uint8_t node;      ///< which node of the camera is asked, by order; mostly 0
    std::uint16_t size;     ///< bytes of the control; 0: the camera is asked for it
};

/// Passes a request on. What a get query reads goes to `out`; `*outSize` is its room on entry, the
/// bytes read on return (0 after a set). -4 for a request that is too short or has no room.
int queryExtension(const std::vector<NodeIo *> &nodes, const unsigned char *in, unsigned int inSize,
                   unsigned char *out, unsigned int *outSize);

static_assert(sizeof(ExtensionRequest) == 6, "request record");

}  // namespace nubrix
