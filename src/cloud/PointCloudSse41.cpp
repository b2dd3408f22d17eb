// Point clouds with SSE4.1: 4 pixels at a time.
#include <immintrin.h>

#include "cloud/PointCloudLanes.h"

namespace nubrix {

namespace {

struct Sse41Lanes : VectorLanes<Sse41Lanes, 4> {
    NUBRIX_KERNEL_INLINE Int load(const unsigned short *from)
    {
        long long raw;
        __builtin_memcpy(&raw, from, sizeof(raw));
        return reinterpret_cast<Int>(_mm_cvtepu16_epi32(_mm_cvtsi64_si128(raw)));
    }
};

}  // namespace

const CloudKernel kCloudSse41 = kCloudKernelOf<Sse41Lanes>;

}  // namespace nubrix
