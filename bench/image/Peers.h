// The libraries to compare with, where they are installed. They run in one thread, as we do.
#pragma once

#ifdef NUBRIX_BENCH_LIBYUV
#include <libyuv.h>
#endif
#ifdef NUBRIX_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace nubrix::bench {

inline const bool kOpenCvHasOneThread = (cv::setNumThreads(1), true);

}  // namespace nubrix::bench
#endif
