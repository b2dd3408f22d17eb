// Image kernels with NEON on 32-bit ARM: 16 bytes at a time.
#include <arm_neon.h>

#include "image/ImageLanes.h"

namespace nubrix {

namespace {

struct NeonLanes : ByteLanes<NeonLanes, 16> {
    NUBRIX_KERNEL_INLINE Words widen(HalfBytes bytes)
    {
        return reinterpret_cast<Words>(vmovl_u8(reinterpret_cast<uint8x8_t>(bytes)));
    }
    NUBRIX_KERNEL_INLINE Words addSaturated(Words a, Words b)
    {
        return reinterpret_cast<Words>(
            vqaddq_s16(reinterpret_cast<int16x8_t>(a), reinterpret_cast<int16x8_t>(b)));
    }
    NUBRIX_KERNEL_INLINE Bytes pack(Words a, Words b)
    {
        return reinterpret_cast<Bytes>(vcombine_u8(vqmovun_s16(reinterpret_cast<int16x8_t>(a)),
                                                   vqmovun_s16(reinterpret_cast<int16x8_t>(b))));
    }
    NUBRIX_KERNEL_INLINE void storeRgb(unsigned char *to, Bytes r, Bytes g, Bytes b)
    {
        vst3q_u8(to, {{inOrder(r), inOrder(g), inOrder(b)}});
    }

private:
    // Interleaves the even pixels, which come first, with the odd ones.
    NUBRIX_KERNEL_INLINE uint8x16_t inOrder(Bytes packed)
    {
        const auto values = reinterpret_cast<uint8x16_t>(packed);
        const uint8x8x2_t zipped = vzip_u8(vget_low_u8(values), vget_high_u8(values));
        return vcombine_u8(zipped.val[0], zipped.val[1]);
    }
};

}  // namespace

const YuvKernel kYuvNeon = kYuvKernelOf<NeonLanes, YuvColours<NeonLanes>>;
const TurnKernels kTurnsNeon = kTurnKernelsOf<NeonLanes>;

}  // namespace nubrix
