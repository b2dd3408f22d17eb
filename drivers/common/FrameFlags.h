#pragma once
#include "common/DriverStream.h"  // IWYU pragma: export
