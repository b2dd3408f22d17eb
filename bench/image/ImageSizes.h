// The sizes of images that benchmarks of image functions work on.
#pragma once

#include "bench/Frames.h"

namespace nubrix::bench {

/// Those of every benchmark, and images that make work hard: rows of kUnevenWidth pixels, which no
/// vector divides and which begin anywhere in a cache line, an odd number of them, and an image
/// that no cache of a core holds.
template <int kUnevenWidth>
void imageSizes(benchmark::internal::Benchmark *bench)
{
    sizes(bench);
    bench->Args({kUnevenWidth, 479, 1})->Args({kUnevenWidth, 479, 8})->Args({3840, 2160, 1});
}

/// For formats in which two pixels share colours.
inline void pairSizes(benchmark::internal::Benchmark *bench)
{
    imageSizes<642>(bench);
}
inline void anySizes(benchmark::internal::Benchmark *bench)
{
    imageSizes<641>(bench);
}

}  // namespace nubrix::bench
