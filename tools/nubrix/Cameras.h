// The attached cameras, with texts that a terminal can show.
#pragma once

#include <vector>
#include "common/Text.h"
#include "nubrix/client/session.h"

namespace nubrix::tool {

/// The attached cameras. Their texts come from the devices: they are cleaned.
inline std::vector<client::CameraInfo> attachedCameras(const client::Session &session)
{
    std::vector<client::CameraInfo> cameras = session.cameras();
    for (client::CameraInfo &each : cameras) {
        for (std::string *text : {&each.uri, &each.serialNumber, &each.productName, &each.location})
            *text = cleanText(*text);
    }
    return cameras;
}

}  // namespace nubrix::tool
