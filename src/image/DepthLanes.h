// The colouring of depth frames; compiled once for each instruction set. No instruction depends on
// whether a pixel has a depth: with scattered holes, a processor would foresee such a branch
// wrongly at each of them.
#pragma once

#include <utility>

#include "image/ByteLanes.h"
#include "image/DepthKernel.h"

namespace nubrix {

/// The histogram. These loops have a form that the compiler vectorises.
template <class Lanes>
struct DepthShares {
    static DepthRange range(const unsigned short *depths, std::size_t pixels)
    {
        unsigned short smallest = 65535;  // less 1, for which 0 is the largest
        unsigned short largest = 0;
        for (std::size_t i = 0; i < pixels; ++i) {
            const auto less = static_cast<unsigned short>(depths[i] - 1);
            smallest = less < smallest ? less : smallest;
            largest = depths[i] > largest ? depths[i] : largest;
        }
        return {std::size_t{smallest} + 1, largest};
    }

    static void shares(float *histogram, const DepthTables &tables, const DepthRange &range,
                       int counted)
    {
        int nearer = 0;
        std::size_t depth = range.smallest;
        for (; depth + kBlock <= range.largest + 1; depth += kBlock)
            nearer = sharesOf(histogram, tables, depth, kBlock, nearer, counted);
        sharesOf(histogram, tables, depth, range.largest + 1 - depth, nearer, counted);
    }

private:
    static constexpr std::size_t kBlock = 64;
    using Ints = typename ByteVectors<16>::Ints;

    /// Of `size` depths. `nearer` pixels are nearer than the first; returns how many are nearer
    /// than the next one.
    NUBRIX_KERNEL_INLINE int sharesOf(float *histogram, const DepthTables &tables,
                                      std::size_t first, std::size_t size, int nearer, int counted)
    {
        int counts[kBlock] = {};
        for (std::size_t i = 0; i < size; ++i)
            counts[i] = static_cast<int>(histogram[first + i]);
        for (unsigned int table = 0; table < tables.count; ++table) {
            const unsigned char *const counters = tables.first + table * tables.stride + first;
            for (std::size_t i = 0; i < size; ++i)
                counts[i] += counters[i];
        }
        nearer = accumulate(counts, nearer);
        unsigned char *const levels = tables.first + first;
        for (std::size_t i = 0; i < size; ++i) {
            const float share =
                (1.0F - static_cast<float>(counts[i]) / static_cast<float>(counted)) * 256.0F;
            histogram[first + i] = share;
            levels[i] = static_cast<unsigned char>(static_cast<int>(share));
        }
        return nearer;
    }

    /// Adds to each count those before it and `before`; returns the last sum.
    NUBRIX_KERNEL_INLINE int accumulate(int *counts, int before)
    {
        Ints sum = Ints{} + before;
        for (std::size_t i = 0; i < kBlock; i += 4) {
            Ints four;
            __builtin_memcpy(&four, counts + i, sizeof(four));
            four += __builtin_shufflevector(Ints{}, four, 0, 4, 5, 6);
            four += __builtin_shufflevector(Ints{}, four, 0, 1, 4, 5);
            four += sum;
            sum = __builtin_shufflevector(four, four, 3, 3, 3, 3);
            __builtin_memcpy(counts + i, &four, sizeof(four));
        }
        return sum[0];
    }
};

/// The colours, 16 pixels at a time: their levels are collected in a vector of bytes and spread
/// over three.
template <class Lanes>
struct DepthPixels {
    static void colours(unsigned char *rgb, const unsigned short *depths, std::size_t pixels,
                        const unsigned char *levels)
    {
        std::size_t i = 0;
        for (; i + kPixels <= pixels; i += kPixels)
            convert(rgb + 3 * i, depths + i, levels);
        if (i == pixels)
            return;
        if (pixels >= kPixels) {  // the rest, with pixels that are already coloured
            convert(rgb + 3 * (pixels - kPixels), depths + (pixels - kPixels), levels);
            return;
        }
        for (; i < pixels; ++i) {
            if (depths[i] != 0) {
                rgb[3 * i] = rgb[3 * i + 1] = levels[depths[i]];
                rgb[3 * i + 2] = 0;
            }
        }
    }

private:
    static constexpr std::size_t kPixels = 16;
    using Block = ByteLanes<Lanes, kPixels>;
    using Bytes = typename Block::Bytes;
    using Words = typename Block::Words;
    using Ints = typename Block::Ints;

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
        const Bytes holes = Block::template shuffle<LowBytes>(holesOf(depths), holesOf(depths + 8));
        store<0>(rgb, shades, holes, kIndices);
        store<1>(rgb + kPixels, shades, holes, kIndices);
        store<2>(rgb + 2 * kPixels, shades, holes, kIndices);
    }
    // The frames of a pool are rarely in a cache; where they are, this costs next to nothing.
    NUBRIX_KERNEL_INLINE void prefetch(const unsigned char *rgb, const unsigned short *depths)
    {
        constexpr int kAhead = 256;  // pixels
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
                return Block::template interleaveLow<Bytes>(first, second);
            else if constexpr (kCount == 4)
                return Block::template interleaveLow<Words>(first, second);
            else if constexpr (kCount == 8)
                return Block::template interleaveLow<Ints>(first, second);
            else
                return Block::template interleaveLow<typename Block::Quads>(first, second);
        }
    }
    NUBRIX_KERNEL_INLINE Bytes holesOf(const unsigned short *depths)
    {
        return __builtin_bit_cast(Bytes, Block::template load<Words>(depths) == 0);
    }
    template <int kVector, int... kIndices>
    NUBRIX_KERNEL_INLINE void store(unsigned char *to, Bytes shades, Bytes holes,
                                    std::integer_sequence<int, kIndices...>)
    {
        // The level of no depth is 0, so the old bytes of holes can simply be added.
        constexpr Bytes kNotBlue = {((16 * kVector + kIndices) % 3 == 2 ? 0 : 255)...};
        const Bytes colours = Block::template shuffle<PixelOf<kVector>>(shades, shades) & kNotBlue;
        const Bytes kept = Block::template shuffle<PixelOf<kVector>>(holes, holes);
        Block::store(to, colours | (Block::load(to) & kept));
    }
};

template <class Lanes>
inline constexpr DepthKernel kDepthKernelOf = {
    &DepthShares<Lanes>::range, &DepthShares<Lanes>::shares, &DepthPixels<Lanes>::colours};

}  // namespace nubrix
