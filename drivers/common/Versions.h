// The version record of a camera.
#pragma once

#include <string>

#include "common/Text.h"
#include "nubrix/types.h"
#include "nubrix/version.h"

namespace nubrix {

/// With the SDK's version and a serial number, which is cut where it does not fit; zero otherwise.
inline NubrixVersions versionsWith(const std::string &serial)
{
    NubrixVersions versions = {
        {NUBRIX_VERSION_MAJOR, NUBRIX_VERSION_MINOR, NUBRIX_VERSION_PATCH}, {}, {}, {}};
    copyText(versions.serialNumber, serial);
    return versions;
}

}  // namespace nubrix
