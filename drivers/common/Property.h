// What devices of all drivers answer when they are asked for a property.
#pragma once

#include <cstring>
#include <utility>

namespace nubrix {

/// Copies a property out. `size` holds the room on entry and always tells how much there is: -4
/// when there is less room. Thread-safe.
inline int giveOut(const void *value, unsigned int valueSize, void *data, unsigned int *size)
{
    const unsigned int room = std::exchange(*size, valueSize);
    if (room < valueSize)
        return -4;
    std::memcpy(data, value, valueSize);
    return 0;
}

}  // namespace nubrix
