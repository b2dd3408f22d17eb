// What the benchmarks ask of their driver plug-in.
#pragma once

/// Delivers one frame on the running stream with this number (in the order of their starts), on the
/// calling thread. False when the pool has no frame.
using BenchDeliver = bool (*)(unsigned int stream);

/// Sets the size of the frames of streams that are started from now on; 640x480 before.
using BenchSetSize = void (*)(int width, int height);

constexpr unsigned int kBenchDevices = 15;  // with four streams each
