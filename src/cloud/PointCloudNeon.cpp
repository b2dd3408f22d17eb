// Point clouds with NEON on 32-bit ARM: 4 pixels at a time.
#include <arm_neon.h>

#include "cloud/PointCloudLanes.h"

namespace nubrix {

namespace {

struct NeonLanes : FusedLanes<NeonLanes, 4> {
    NUBRIX_KERNEL_INLINE Float allOf(float value) { return vdupq_n_f32(value); }
    NUBRIX_KERNEL_INLINE Float subtract(Float a, Float b) { return vsubq_f32(a, b); }
    NUBRIX_KERNEL_INLINE Float multiply(Float a, Float b) { return vmulq_f32(a, b); }
    NUBRIX_KERNEL_INLINE Float multiplyAdd(Float sum, Float a, Float b)
    {
        return vfmaq_f32(sum, a, b);
    }
    NUBRIX_KERNEL_INLINE Float multiplySubtract(Float from, Float a, Float b)
    {
        return vfmsq_f32(from, a, b);
    }
    template <bool kStreaming>
    NUBRIX_KERNEL_INLINE void storePoints(float *to, Float x, Float y, Float z)
    {
        vst3q_f32(to, {{x, y, z}});
    }
};

}  // namespace

const CloudKernel kCloudNeon = kCloudKernelOf<NeonLanes>;

}  // namespace nubrix
