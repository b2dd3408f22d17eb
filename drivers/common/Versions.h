#pragma once
#include "common/CameraProperties.h"  // IWYU pragma: export
