// What the benchmarks ask of their driver plug-in.
#pragma once

/// Delivers one frame on the running stream with this number (in the order of their starts), on the
/// calling thread. False when the pool has no frame.
using BenchDeliver = bool (*)(unsigned int stream);

constexpr unsigned int kBenchDevices = 15;  // with four streams each
