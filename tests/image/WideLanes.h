// The image kernels' own source in vectors of any length, made of what the compiler targets anyway.
#pragma once

#include "image/ImageKernel.h"

namespace nubrix {

/// They run on every processor.
extern const ImageKernel kImageOf16Bytes;
extern const ImageKernel kImageOf64Bytes;

}  // namespace nubrix
