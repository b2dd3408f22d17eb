// The bits of typedefNubrixFrame::flags that drivers set.
#pragma once

namespace nubrix {

constexpr unsigned int kFrameFlagShort = 1;  ///< pixels at the end are missing
constexpr unsigned int kFrameFlagEmpty = 2;
constexpr unsigned int kFrameFlagWrongType = 4;
constexpr unsigned int kFrameFlagDamaged = 8;  ///< the camera or the cable spoilt some pixels

}  // namespace nubrix
