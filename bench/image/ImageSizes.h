// The sizes of images that benchmarks of image functions work on.
#pragma once

#include "bench/Frames.h"

namespace nubrix::bench {

/// Those of every benchmark, and images that make work hard: one whose rows no vector divides and
/// begin anywhere in a cache line, and one that no cache of a core holds.
template <int kUnevenWidth, int kUnevenHeight>
void imageSizes(benchmark::internal::Benchmark *bench)
{
    sizes(bench);
    bench->Args({kUnevenWidth, kUnevenHeight, 1})
        ->Args({kUnevenWidth, kUnevenHeight, 8})
        ->Args({3840, 2160, 1});
}

/// For formats in which pixels share colours; OpenCV takes no odd sizes of them.
inline void pairSizes(benchmark::internal::Benchmark *bench)
{
    imageSizes<642, 478>(bench);
}
inline void anySizes(benchmark::internal::Benchmark *bench)
{
    imageSizes<641, 479>(bench);
}

}  // namespace nubrix::bench
