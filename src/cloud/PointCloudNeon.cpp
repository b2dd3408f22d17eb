// Point clouds with NEON on 32-bit ARM: 4 pixels at a time.
#include <arm_neon.h>

#include "cloud/PointCloudLanes.h"

namespace nubrix {

namespace {

struct NeonLanes : VectorLanes<NeonLanes, 4> {
    NUBRIX_KERNEL_INLINE Float allOf(float value) { return vdupq_n_f32(value); }
    NUBRIX_KERNEL_INLINE Float subtract(Float a, Float b) { return vsubq_f32(a, b); }
    NUBRIX_KERNEL_INLINE Float multiply(Float a, Float b) { return vmulq_f32(a, b); }
    /// There is no vector division. a * (high + low) is so near to a / value that, rounded, it is
    /// one of the two floats around it; and as high is the float nearest to 1 / value, one step
    /// with the remainder, which is exact, leads to the right one (Markstein's theorem). That holds
    /// as long as nothing overflows or comes near the smallest floats (which these instructions
    /// take for 0).
    struct Divisor {
        Float value, high, low;
    };
    NUBRIX_KERNEL_INLINE Divisor divisor(float value)
    {
        const float high = 1.0F / value;
        const double missing = 1.0 - static_cast<double>(value) * static_cast<double>(high);
        const auto low = static_cast<float>(missing / static_cast<double>(value));
        return {allOf(value), allOf(high), allOf(low)};
    }
    NUBRIX_KERNEL_INLINE Float divide(Float a, const Divisor &by)
    {
        const Float near = vfmaq_f32(vmulq_f32(a, by.low), a, by.high);
        const Float remainder = vfmsq_f32(a, near, by.value);
        return vfmaq_f32(near, remainder, by.high);
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
