// Simulated cameras that describe themselves in another way than usual.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "CameraDescription.h"

namespace nubrix::net {

/// Replaces parts of a camera's description, each of which must be in it once. Fails the test when
/// one is not.
inline void redescribe(SimulatedCameraSettings &settings,
                       const std::vector<std::pair<std::string, std::string>> &parts)
{
    settings.description = describeCamera(settings);
    for (const auto &[usual, odd] : parts) {
        const std::size_t place = settings.description.find(usual);
        ASSERT_NE(place, std::string::npos) << usual;
        settings.description.replace(place, usual.size(), odd);
        ASSERT_EQ(settings.description.find(usual, place + odd.size()), std::string::npos) << usual;
    }
}

}  // namespace nubrix::net
