// The properties that USB cameras have besides those of the library; README.md explains them.
#pragma once

namespace nubrix {

/// Plus a stream type: the StreamCounters since the last start. Read only.
constexpr unsigned int kPropertyCounters = 0x5a00;

struct StreamCounters {
    unsigned int delivered;  ///< frames
    unsigned int flagged;    ///< of them, short or damaged ones
    unsigned int held;       ///< pictures dropped because the application held all frames
    unsigned int unusable;   ///< pictures dropped because there was nothing in them to show
    unsigned int missed;     ///< pictures that the kernel counted and did not hand out
};

/// From here on a property's id is that of a control of the kernel's.
constexpr unsigned int kFirstControl = 0x00980000;

static_assert(sizeof(StreamCounters) == 20, "counters record");

}  // namespace nubrix
