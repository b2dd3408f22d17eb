/// @file
/// The version of the SDK. It stands only here: the build reads it from this file.
#pragma once

/// The first number, which is that of the library's soname: the binary interface.
#define NUBRIX_VERSION_MAJOR 2
/// The second number.
#define NUBRIX_VERSION_MINOR 0
/// The third number.
#define NUBRIX_VERSION_PATCH 182
