// The shares of depths; compiled once for each instruction set.
#pragma once

#include "image/ByteLanes.h"
#include "image/DepthKernel.h"

namespace nubrix {

/// The parts of a DepthKernel for the histogram, for the source that has the type Local.
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

}  // namespace nubrix
