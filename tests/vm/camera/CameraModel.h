// The streams and controls of the software camera, and its USB descriptors.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "FrameContent.h"

namespace nubrix::vm {

/// One streaming interface; the kernel makes one capture node of it.
struct StreamModel {
    const char *name;
    std::vector<PixelFormat> formats;  // UVC counts them from 1
};

/// Interface 0 is for control, interface n for stream n - 1, on endpoint n.
/// `formats` names a set: "usual", "packed", "planar" or "jpeg".
const std::vector<StreamModel> &streamModels(const std::string &formats);

inline constexpr std::array<FrameSize, 2> kSizes = {{{640, 480}, {320, 240}}};
inline constexpr std::array<unsigned int, 2> kIntervals = {333333, 666666};  // units of 100 ns

/// The payload header of every transfer.
inline constexpr unsigned int kPayloadHeader = 12;  // bytes
inline constexpr unsigned int kIsochronousPacket = 3 * 1024;

/// The units that have controls.
inline constexpr unsigned int kProcessingUnit = 5;
inline constexpr unsigned int kExtensionUnit = 2;

Bytes deviceDescriptor();
Bytes configurationDescriptor(const std::vector<StreamModel> &models, bool isochronous);

/// 1 is the maker, 2 the product, 3 the serial number; 0 lists the languages. Else empty.
Bytes stringDescriptor(unsigned int index, const std::string &serial);

void append16(Bytes &bytes, unsigned int value);
void append32(Bytes &bytes, unsigned int value);

}  // namespace nubrix::vm
