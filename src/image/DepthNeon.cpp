// The colouring of depth frames with NEON on 32-bit ARM, 16 pixels at a time.
#include <arm_neon.h>

#include <cstddef>

#include "image/DepthLanes.h"

namespace nubrix {

namespace {

struct Neon {};

struct NeonDepthPixels {
    /// DepthKernel::colours.
    static void colours(unsigned char *rgb, const unsigned short *depths, std::size_t pixels,
                        const unsigned char *levels)
    {
        std::size_t i = 0;
        for (; i + kPixels <= pixels; i += kPixels)
            convert(rgb + 3 * i, depths + i, levels);
        kDepthPlain.colours(rgb + 3 * i, depths + i, pixels - i, levels);
    }

private:
    static constexpr std::size_t kPixels = 16;

    // The level of no depth is 0, so the old bytes of holes can simply be added.
    NUBRIX_KERNEL_INLINE void convert(unsigned char *rgb, const unsigned short *depths,
                                      const unsigned char *levels)
    {
        const uint8x16_t shades = vcombine_u8(look(depths, levels), look(depths + 8, levels));
        const uint8x16_t holes = vcombine_u8(holesOf(depths), holesOf(depths + 8));
        uint8x16x3_t colours = vld3q_u8(rgb);
        colours.val[0] = vorrq_u8(vandq_u8(colours.val[0], holes), shades);
        colours.val[1] = vorrq_u8(vandq_u8(colours.val[1], holes), shades);
        colours.val[2] = vandq_u8(colours.val[2], holes);
        vst3q_u8(rgb, colours);
    }
    NUBRIX_KERNEL_INLINE uint8x8_t holesOf(const unsigned short *depths)
    {
        return vmovn_u16(vceqq_u16(vld1q_u16(depths), vdupq_n_u16(0)));
    }
    // Collected in two integers: loads into single lanes would wait for each other.
    NUBRIX_KERNEL_INLINE uint8x8_t look(const unsigned short *depths, const unsigned char *levels)
    {
        return vcreate_u8(fourOf(depths, levels) |
                          static_cast<unsigned long long>(fourOf(depths + 4, levels)) << 32);
    }
    NUBRIX_KERNEL_INLINE unsigned int fourOf(const unsigned short *depths,
                                             const unsigned char *levels)
    {
        return levels[depths[0]] | static_cast<unsigned int>(levels[depths[1]]) << 8 |
               static_cast<unsigned int>(levels[depths[2]]) << 16 |
               static_cast<unsigned int>(levels[depths[3]]) << 24;
    }
};

}  // namespace

const DepthKernel kDepthNeon = {&DepthShares<Neon>::range, &DepthShares<Neon>::shares,
                                &NeonDepthPixels::colours};

}  // namespace nubrix
