// The colouring of depth frames; compiled once for each instruction set. No instruction depends on
// whether a pixel has a depth: with scattered holes, a processor would foresee such a branch
// wrongly at each of them.
#pragma once

#include <utility>

#include "image/ByteLanes.h"
#include "image/DepthKernel.h"

namespace nubrix {

/// The histogram.
template <class Local>
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
        const Floats all = Floats{} + static_cast<float>(counted);
        Ints nearer = {};
        std::size_t depth = range.smallest;
        for (; depth + kLanes <= range.largest + 1; depth += kLanes)
            nearer = sharesOf(histogram + depth, tables, depth, nearer, all);
        if (depth <= range.largest) {
            const std::size_t bytes = (range.largest + 1 - depth) * sizeof(float);
            float rest[kLanes] = {};
            __builtin_memcpy(rest, histogram + depth, bytes);
            sharesOf(rest, tables, depth, nearer, all);
            __builtin_memcpy(histogram + depth, rest, bytes);
        }
    }

private:
    static constexpr std::size_t kLanes = DepthTables::kSpare;
    using Block = ByteLanes<Local, 16>;
    using Bytes = typename Block::Bytes;
    using Words = typename Block::Words;
    using Ints = typename Block::Ints;
    using Quads = typename Block::Quads;
    typedef float Floats __attribute__((vector_size(16)));

    /// Of four depths. `nearer` has the number of nearer pixels in each lane; returns the same for
    /// the next four.
    NUBRIX_KERNEL_INLINE Ints sharesOf(float *histogram, const DepthTables &tables,
                                       std::size_t depth, Ints nearer, Floats all)
    {
        Floats carried;
        __builtin_memcpy(&carried, histogram, sizeof(carried));
        Ints counts = __builtin_convertvector(carried, Ints);
        for (unsigned int table = 0; table < tables.count; ++table)
            counts += countersAt(tables.first + table * tables.stride + depth);
        counts += __builtin_shufflevector(Ints{}, counts, 0, 4, 5, 6);
        counts += __builtin_shufflevector(Ints{}, counts, 0, 1, 4, 5);
        counts += nearer;
        const Floats shares = (1.0F - __builtin_convertvector(counts, Floats) / all) * 256.0F;
        __builtin_memcpy(histogram, &shares, sizeof(shares));
        storeBytes(tables.first + depth, __builtin_convertvector(shares, Ints));
        return __builtin_shufflevector(counts, counts, 3, 3, 3, 3);
    }
    NUBRIX_KERNEL_INLINE Ints countersAt(const unsigned char *from)
    {
        int four;
        __builtin_memcpy(&four, from, sizeof(four));
        const Bytes bytes = __builtin_bit_cast(Bytes, Ints{four});
        const Bytes words = Block::template interleaveLow<Bytes>(bytes, Bytes{});
        return __builtin_bit_cast(Ints, Block::template interleaveLow<Words>(words, Bytes{}));
    }
    NUBRIX_KERNEL_INLINE void storeBytes(unsigned char *to, Ints bytes)
    {
        // Two bytes in the lower words of each half.
        Quads pairs = __builtin_bit_cast(Quads, bytes);
        pairs |= pairs >> 24;
        const unsigned short words[] = {static_cast<unsigned short>(pairs[0]),
                                        static_cast<unsigned short>(pairs[1])};
        __builtin_memcpy(to, words, sizeof(words));
    }
};

/// The colours, 16 pixels at a time: their levels are collected in a vector of bytes and spread
/// over three.
template <class Local>
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
        for (; i < pixels; ++i) {
            if (depths[i] != 0) {
                rgb[3 * i] = rgb[3 * i + 1] = levels[depths[i]];
                rgb[3 * i + 2] = 0;
            }
        }
    }

private:
    static constexpr std::size_t kPixels = 16;
    using Block = ByteLanes<Local, kPixels>;
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

/// The kernel of the source that has the type Local.
template <class Local>
inline constexpr DepthKernel kDepthKernelOf = {
    &DepthShares<Local>::range, &DepthShares<Local>::shares, &DepthPixels<Local>::colours};

}  // namespace nubrix
