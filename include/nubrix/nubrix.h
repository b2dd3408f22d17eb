/// @file
/// Everything an application needs.
#pragma once

#include "nubrix/checksum.h"
#include "nubrix/context.h"
#include "nubrix/image.h"
#include "nubrix/ini.h"
#include "nubrix/ledger.h"
#include "nubrix/types.h"

/// Either spelling compiles: the names of the interface are also in this namespace.
namespace nubrix {
using ::MD5_CTX;
using ::NubrixBaseContext;
using ::NubrixDevice;
using ::NubrixErrorCode;
using ::NubrixErrorNumber;
using ::NubrixLogLevel;
using ::NubrixRecord;
using ::NubrixStream;
using ::NubrixStreamCounters;
using ::NubrixStreamLedger;
using ::NubrixVersions;
using ::RGB888Pixel;
using ::typedefNubrixeviceAttribute;
using ::typedefNubrixFrame;
using ::typedefNubrixFrameMode;
using ::typedefNubrixPoint3D;
using ::typedefNubrixRGBA;
using ::typedefNubrixUpgradeCallbacks;
}  // namespace nubrix
