// Where in all that a camera sees a picture lies.
#pragma once

#include "net/GLibPtr.h"
#include "net/PixelFormats.h"
#include "nubrix/types.h"

namespace nubrix::net {

/// All that a camera sees, in pixels.
struct Sensor {
    int width;
    int height;
    int stepX;  ///< of places that a picture can be moved to; 0: pictures cannot be moved
    int stepY;
};

/// Of a picture's first pixel.
struct Place {
    int x;
    int y;
};

/// What the camera tells, whatever region it is set to. Not thread-safe.
Sensor readSensor(ArvCamera &camera);

/// As near to the middle as steps allow, and the pattern of a format that repeats every two pixels.
/// Where pictures cannot be moved it is 0, 0. Thread-safe.
Place placeOf(const Sensor &sensor, const typedefNubrixFrameMode &mode, const PixelFormat &format);

}  // namespace nubrix::net
