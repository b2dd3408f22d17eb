/// @file
/// Marks what libNubrix.so, and a plug-in, show to the outside; everything else is hidden.
#pragma once

/// Exports a function or class from a library whose symbols are hidden otherwise. A driver puts it
/// in front of driverInstance and driverDestroy.
#define NUBRIX_API __attribute__((visibility("default")))
