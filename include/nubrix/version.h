// The version of the SDK. It stands only here: the build reads it from this file.
#pragma once

#define NUBRIX_VERSION_MAJOR 2
#define NUBRIX_VERSION_MINOR 0
#define NUBRIX_VERSION_PATCH 182
