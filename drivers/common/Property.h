#pragma once
#include "common/CameraProperties.h"  // IWYU pragma: export

namespace nubrix {
inline int giveOut(const void *value, unsigned int valueSize, void *data, unsigned int *size)
{
    return copyProperty(value, valueSize, data, size);
}
}  // namespace nubrix
