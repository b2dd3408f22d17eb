// Recorded frames as pictures: the pixel format, which a record does not tell, from its size.
#pragma once

#include <optional>

#include "FrameImage.h"
#include "nubrix/record_reader.h"

namespace nubrix {

/// Copies a record's picture. Its pixel format is the one whose pictures of this width and height
/// have as many bytes: 2 bytes a pixel are a depth (whose unit stays unknown: it becomes
/// NUBRIX_PIXEL_DEPTH_MM, which no picture depends on), in infrared streams grey 16; 3 are RGB888,
/// 1 is grey 8. Colour may also be a JPEG, or of `colourFormat`, as the sizes of the others are not
/// unique. Throws a Failure that tells why a record is no picture.
FrameCopy pictureOf(const RecordFrame &record, std::optional<unsigned int> colourFormat);

}  // namespace nubrix
