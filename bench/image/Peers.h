// The libraries to compare with, where they are installed. They run in one thread, as we do.
#pragma once

#include "cpu/CpuFeatures.h"

#ifdef NUBRIX_BENCH_LIBYUV
#include <libyuv.h>

namespace nubrix::bench {

/// libyuv keeps to the instructions that we keep to: C next to our scalar loops, SSSE3 next to
/// SSE4.1, all that the processor has next to the rest.
inline int libyuvFlags(InstructionSet set)
{
    switch (set) {
        case InstructionSet::kScalar:
            return 1;
        case InstructionSet::kSse41:
            return libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 |
                   libyuv::kCpuHasSSE41;
        default:
            return -1;
    }
}

inline const int kLibyuvFlags = libyuv::MaskCpuFlags(libyuvFlags(instructionSet()));

}  // namespace nubrix::bench
#endif
#ifdef NUBRIX_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace nubrix::bench {

inline const bool kOpenCvHasOneThread = (cv::setNumThreads(1), true);

}  // namespace nubrix::bench
#endif
