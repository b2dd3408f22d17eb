// Properties that cameras of several drivers have, and how drivers answer requests for them.
#pragma once

#include <atomic>
#include <cstring>
#include <string>
#include <utility>

#include "common/Text.h"
#include "nubrix/types.h"
#include "nubrix/version.h"

namespace nubrix {

/// Plus a stream type: a CameraIntrinsics record of the stream's current mode. Read only.
constexpr unsigned int kPropertyIntrinsics = 0x5600;

/// Pixels.
struct CameraIntrinsics {
    float fx;
    float fy;
    float cx;
    float cy;
};

using StreamCounters = NubrixStreamCounters;

static_assert(sizeof(CameraIntrinsics) == 16, "intrinsics record");

/// As StreamCounters. Thread-safe.
struct RunningCounters {
    std::atomic<unsigned int> delivered{0};
    std::atomic<unsigned int> flagged{0};
    std::atomic<unsigned int> held{0};
    std::atomic<unsigned int> unusable{0};
    std::atomic<unsigned int> missed{0};

    void clear() { delivered = flagged = held = unusable = missed = 0; }
    StreamCounters now() const { return {delivered, flagged, held, unusable, missed}; }
};

/// With the SDK's version and a serial number, which is cut where it does not fit; zero otherwise.
inline NubrixVersions versionsWith(const std::string &serial)
{
    NubrixVersions versions = {
        {NUBRIX_VERSION_MAJOR, NUBRIX_VERSION_MINOR, NUBRIX_VERSION_PATCH}, {}, {}, {}};
    copyText(versions.serialNumber, serial);
    return versions;
}

/// Copies a property to `data`. `size` holds the capacity on entry and always returns the size of
/// the property: -4 when the capacity is smaller. Thread-safe.
inline int copyProperty(const void *value, unsigned int valueSize, void *data, unsigned int *size)
{
    const unsigned int capacity = std::exchange(*size, valueSize);
    if (capacity < valueSize)
        return -4;
    std::memcpy(data, value, valueSize);
    return 0;
}

}  // namespace nubrix
