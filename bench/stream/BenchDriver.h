// What the benchmarks ask of their driver plug-in.
#pragma once

/// Delivers one frame on the running stream with this number (in the order of their starts), on the
/// calling thread. False when the pool has no frame.
using BenchDeliver = bool (*)(unsigned int stream);

/// Called with the user's pointer whenever the library asks a device for its keep-alive state, as
/// waitForStreams does for each stream in turn when it hears them all and is about to wait. Null
/// ends it.
using BenchHook = void (*)(void *user);
using BenchSetKeepLiveHook = void (*)(BenchHook hook, void *user);
/// Sets the size of the frames of streams that are started from now on; 640x480 before.
using BenchSetSize = void (*)(int width, int height);

constexpr unsigned int kBenchDevices = 15;  // with four streams each
