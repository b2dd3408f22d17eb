#include "tests/cloud/WideLanes.h"

#include "cloud/PointCloudLanes.h"

namespace nubrix {

namespace {

template <int N>
struct WideLanes : VectorLanes<WideLanes<N>, N> {
    using Base = VectorLanes<WideLanes<N>, N>;

    // Plain stores, so that the way of streaming runs as well.
    static constexpr bool kStreams = true;
    NUBRIX_KERNEL_INLINE void stream(float *to, typename Base::Float values)
    {
        __builtin_memcpy(to, &values, sizeof(values));
    }
    NUBRIX_KERNEL_INLINE void streamColour(float *to, const float *from)
    {
        __builtin_memcpy(to, from, sizeof(typedefNubrixRGBA));
    }
    NUBRIX_KERNEL_INLINE void endStream() {}
};

}  // namespace

const CloudKernel kCloudOf4Lanes = kCloudKernelOf<WideLanes<4>>;
const CloudKernel kCloudOf8Lanes = kCloudKernelOf<WideLanes<8>>;
const CloudKernel kCloudOf16Lanes = kCloudKernelOf<WideLanes<16>>;

}  // namespace nubrix
