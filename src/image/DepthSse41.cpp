// The colouring of depth frames with SSE4.1. No instruction depends on whether a pixel has a depth:
// with scattered holes, a processor would foresee such a branch wrongly at each of them.
#include <utility>

#include "image/DepthLanes.h"

namespace nubrix {

namespace {

struct Sse41 {};

/// The colours, 16 pixels at a time: their levels are collected in a vector of bytes and spread
/// over three.
struct DepthPixels {
    static void colours(unsigned char *rgb, const unsigned short *depths, std::size_t pixels,
                        const unsigned char *levels)
    {
        std::size_t i = 0;
        while (i < pixels && pixels >= kPixels) {
            // The last ones together with pixels that are already coloured.
            i = i + kPixels <= pixels ? i : pixels - kPixels;
            convert(rgb + 3 * i, depths + i, levels);
            i += kPixels;
        }
        kDepthPlain.colours(rgb + 3 * i, depths + i, pixels - i, levels);
    }

private:
    static constexpr std::size_t kPixels = 16;
    using Block = ByteLanes<Sse41, kPixels>;
    using Bytes = Block::Bytes;
    using Words = Block::Words;
    using Ints = Block::Ints;

    template <int kVector>
    struct PixelOf {  // of a byte of three vectors
        static constexpr int of(int i) { return (16 * kVector + i) / 3; }
    };
    struct LowBytes {  // of the words of two vectors
        static constexpr int of(int i) { return 2 * i; }
    };

    NUBRIX_KERNEL_INLINE void convert(unsigned char *rgb, const unsigned short *depths,
                                      const unsigned char *levels)
    {
        constexpr auto kIndices = std::make_integer_sequence<int, kPixels>();
        prefetch(rgb, depths);
        const Bytes shades = look<kPixels>(depths, levels);
        const Bytes holes = Block::shuffle<LowBytes>(holesOf(depths), holesOf(depths + 8));
        store<0>(rgb, shades, holes, kIndices);
        store<1>(rgb + kPixels, shades, holes, kIndices);
        store<2>(rgb + 2 * kPixels, shades, holes, kIndices);
    }
    // The frames of a pool are rarely in a cache; where they are, this costs next to nothing.
    NUBRIX_KERNEL_INLINE void prefetch(const unsigned char *rgb, const unsigned short *depths)
    {
        constexpr std::size_t kAhead = 256;  // pixels
        __builtin_prefetch(rgb + 3 * kAhead, 1);
        __builtin_prefetch(depths + kAhead);
    }
    /// The levels of kCount depths, each loaded with the 3 bytes behind it: no instruction loads a
    /// single byte into an empty vector.
    template <int kCount>
    NUBRIX_KERNEL_INLINE Bytes look(const unsigned short *depths, const unsigned char *levels)
    {
        if constexpr (kCount == 1) {
            int four;
            __builtin_memcpy(&four, levels + *depths, sizeof(four));
            return __builtin_bit_cast(Bytes, Ints{four});
        } else {
            const Bytes first = look<kCount / 2>(depths, levels);
            const Bytes second = look<kCount / 2>(depths + kCount / 2, levels);
            if constexpr (kCount == 2)
                return Block::interleaveLow<Bytes>(first, second);
            else if constexpr (kCount == 4)
                return Block::interleaveLow<Words>(first, second);
            else if constexpr (kCount == 8)
                return Block::interleaveLow<Ints>(first, second);
            else
                return Block::interleaveLow<Block::Quads>(first, second);
        }
    }
    NUBRIX_KERNEL_INLINE Bytes holesOf(const unsigned short *depths)
    {
        return __builtin_bit_cast(Bytes, Block::load<Words>(depths) == 0);
    }
    template <int kVector, int... kIndices>
    NUBRIX_KERNEL_INLINE void store(unsigned char *to, Bytes shades, Bytes holes,
                                    std::integer_sequence<int, kIndices...>)
    {
        // The level of no depth is 0, so the old bytes of holes can simply be added.
        constexpr Bytes kNotBlue = {((16 * kVector + kIndices) % 3 == 2 ? 0 : 255)...};
        const Bytes colours = Block::shuffle<PixelOf<kVector>>(shades, shades) & kNotBlue;
        const Bytes kept = Block::shuffle<PixelOf<kVector>>(holes, holes);
        Block::store(to, colours | (Block::load(to) & kept));
    }
};

}  // namespace

const DepthKernel kDepthSse41 = {&DepthShares<Sse41>::range, &DepthShares<Sse41>::shares,
                                 &DepthPixels::colours};

}  // namespace nubrix
