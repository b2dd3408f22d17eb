// Properties that cameras of several drivers have.
#pragma once

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

/// Plus a stream type: the StreamCounters since the last start. Read only.
constexpr unsigned int kPropertyCounters = 0x5a00;

struct StreamCounters {
    unsigned int delivered;  ///< frames
    unsigned int flagged;    ///< of them, short or damaged ones
    unsigned int held;       ///< pictures dropped because the application held all frames
    unsigned int unusable;   ///< pictures dropped because there was nothing in them to show
    unsigned int missed;     ///< pictures that never came to the driver
};

static_assert(sizeof(CameraIntrinsics) == 16, "intrinsics record");
static_assert(sizeof(StreamCounters) == 20, "counters record");

}  // namespace nubrix
