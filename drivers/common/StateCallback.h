#pragma once
#include "common/DriverParts.h"  // IWYU pragma: export
