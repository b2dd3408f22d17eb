#pragma once
#include "common/DriverDevice.h"  // IWYU pragma: export
