// Vectors of bytes: what image kernels load, compute with, shuffle and store. docs/images.md
// explains how kernels are built from them.
//
// Compiled once for each instruction set. Everything here and in the kernels is a template over a
// type that is local to the including source, so that the linker can never replace a function with
// a copy that was compiled for another instruction set.
#pragma once

#include <cstddef>
#include <utility>

#include "cpu/CpuFeatures.h"

namespace nubrix {

/// The orders in which ByteLanes shuffles vectors of N bytes: of(i) is the lane that lane i of the
/// result comes from. The lanes of a second vector are counted after those of the first.
template <int N>
struct ByteOrders {
    static constexpr int kBlocks = N / 16;

    template <int kColour>
    struct SpreadColour {
        static constexpr int of(int i)
        {
            int pixel = 0;
            while ((3 * pixel + kColour) % 16 != i % 16)
                ++pixel;
            return i / 16 * 16 + pixel / 2 + pixel % 2 * 8;
        }
    };
    template <int kElements, int kHalf>
    struct Interleaved {  // kElements are in a block
        static constexpr int of(int i)
        {
            const int element = (i % kElements + kHalf * kElements) / 2;
            return i / kElements * kElements + element + i % 2 * kElements * kBlocks;
        }
    };
    struct ReverseBlocks {
        static constexpr int of(int i) { return kBlocks - 1 - i; }
    };
    template <int kPixelBytes>
    struct ReversePixels {
        static constexpr int of(int i)
        {
            return i / 16 * 16 + 16 - kPixelBytes - i % 16 / kPixelBytes * kPixelBytes +
                   i % kPixelBytes;
        }
    };
    template <int kPlace>
    struct WhereByte {  // every third byte of a block from the second vector
        static constexpr int of(int i) { return i % 16 % 3 == kPlace ? N + i : i; }
    };
    template <int kFirst>
    struct EverySecond {
        static constexpr int of(int i) { return 2 * i + kFirst; }
    };
    template <class Order>
    struct HalfBlocks {
        static constexpr int of(int i) { return 2 * Order::of(i / 2) + i % 2; }
    };
};

template <int N>
struct ByteVectors {
    typedef unsigned char Bytes __attribute__((vector_size(N)));
    typedef short Words __attribute__((vector_size(N)));
    typedef int Ints __attribute__((vector_size(N)));
    typedef long long Quads __attribute__((vector_size(N)));
    typedef unsigned char HalfBytes __attribute__((vector_size(N / 2)));
};

/// Operations on N bytes in the compiler's own vectors, in blocks of 16 bytes: bytes are shuffled
/// within their block, which is fastest on most processors. `Local` is a type of the including
/// source that derives from this and hides the operations that its instruction set does better.
template <class Local, int N>
struct ByteLanes {
    using Bytes = typename ByteVectors<N>::Bytes;
    using Words = typename ByteVectors<N>::Words;
    using Ints = typename ByteVectors<N>::Ints;
    using Quads = typename ByteVectors<N>::Quads;
    using HalfBytes = typename ByteVectors<N>::HalfBytes;
    using Block = typename ByteVectors<16>::Bytes;

    static constexpr int kBytes = N;
    static constexpr int kBlocks = N / 16;
    static constexpr bool kHasThreeWayLogic = false;  // (a & b) ^ c is one instruction

    template <class Vector = Bytes>
    NUBRIX_KERNEL_INLINE Vector load(const void *from)
    {
        Vector values;
        __builtin_memcpy(&values, from, sizeof(values));
        return values;
    }
    template <class Vector>
    NUBRIX_KERNEL_INLINE void store(void *to, Vector values)
    {
        __builtin_memcpy(to, &values, sizeof(values));
    }
    NUBRIX_KERNEL_INLINE Words allOf(int value) { return Words{} + static_cast<short>(value); }
    /// The bytes at the even places, and at the odd ones, as words.
    NUBRIX_KERNEL_INLINE Words evenBytes(Bytes bytes)
    {
        return __builtin_bit_cast(Words, bytes) & static_cast<short>(255);
    }
    NUBRIX_KERNEL_INLINE Words oddBytes(Bytes bytes)
    {
        typedef unsigned short Unsigned __attribute__((vector_size(N)));
        return __builtin_bit_cast(Words, __builtin_bit_cast(Unsigned, bytes) >> 8);
    }
    /// The same, 256 times as large and with `low` added.
    NUBRIX_KERNEL_INLINE Words evenBytesRaised(Bytes bytes, int low)
    {
        return (__builtin_bit_cast(Words, bytes) << 8) | allOf(low);
    }
    NUBRIX_KERNEL_INLINE Words oddBytesRaised(Bytes bytes, int low)
    {
        return (__builtin_bit_cast(Words, bytes) & allOf(-256)) | allOf(low);
    }
    /// Lane i of the result is lane Order::of(i) of a (below the number of lanes) or b.
    template <class Order, class Vector>
    NUBRIX_KERNEL_INLINE Vector shuffle(Vector a, Vector b)
    {
        constexpr int kCount = static_cast<int>(sizeof(Vector) / sizeof(a[0]));
        return shuffle<Order>(a, b, std::make_integer_sequence<int, kCount>());
    }
    /// The same, the lanes being blocks.
    template <class Order>
    NUBRIX_KERNEL_INLINE Bytes shuffleBlocks(Bytes a, Bytes b)
    {
        return __builtin_bit_cast(Bytes,
                                  shuffle<typename Orders::template HalfBlocks<Order>>(
                                      __builtin_bit_cast(Quads, a), __builtin_bit_cast(Quads, b)));
    }

    /// The elements of a block of `a` and those of `b` in turn: of the first halves of the blocks,
    /// or of the second.
    template <class Vector>
    NUBRIX_KERNEL_INLINE Bytes interleaveLow(Bytes a, Bytes b)
    {
        return interleave<Vector, 0>(a, b);
    }
    template <class Vector>
    NUBRIX_KERNEL_INLINE Bytes interleaveHigh(Bytes a, Bytes b)
    {
        return interleave<Vector, 1>(a, b);
    }
    /// The pixels of kPixelBytes bytes in the opposite order.
    template <int kPixelBytes>
    NUBRIX_KERNEL_INLINE Bytes reverse(Bytes values)
    {
        values = shuffleBlocks<typename Orders::ReverseBlocks>(values, values);
        return shuffle<typename Orders::template ReversePixels<kPixelBytes>>(values, values);
    }

    /// Loads one block each from `from`, `from + step`, ...
    NUBRIX_KERNEL_INLINE Bytes gather(const unsigned char *from, std::ptrdiff_t step)
    {
        if constexpr (N == 16) {
            return load(from);
        } else {
            using Half = ByteLanes<Local, N / 2>;
            return join(Half::gather(from, step), Half::gather(from + kBlocks / 2 * step, step),
                        std::make_integer_sequence<int, N>());
        }
    }
    /// Stores one block each to `to`, `to + step`, ...
    NUBRIX_KERNEL_INLINE void scatter(unsigned char *to, std::ptrdiff_t step, Bytes values)
    {
        scatter(to, step, values, std::make_integer_sequence<int, kBlocks>());
    }

    /// Stores 3 * N bytes: R, G and B of N pixels in turn. The pixels of each block are in the
    /// order of pack(pixels 0, 2, 4 ..., pixels 1, 3, 5 ...).
    NUBRIX_KERNEL_INLINE void storeRgb(unsigned char *to, Bytes r, Bytes g, Bytes b)
    {
        // 16 is no multiple of 3, so the bytes of one colour have different places in the three
        // blocks that 16 pixels fill: one shuffle puts them there, blending does the rest.
        r = shuffle<typename Orders::template SpreadColour<0>>(r, r);
        g = shuffle<typename Orders::template SpreadColour<1>>(g, g);
        b = shuffle<typename Orders::template SpreadColour<2>>(b, b);
        Local::storeBlocks(to, Local::everyThird(r, g, b), Local::everyThird(g, b, r),
                           Local::everyThird(b, r, g));
    }
    /// Stores the first blocks of the three, then the second ones ...
    NUBRIX_KERNEL_INLINE void storeBlocks(unsigned char *to, Bytes first, Bytes second, Bytes third)
    {
        scatter(to, 48, first);
        scatter(to + 16, 48, second);
        scatter(to + 32, 48, third);
    }

    struct Separated {
        Bytes even, odd;
    };
    /// The bytes at the even places of 2 * N bytes, and those at the odd ones.
    NUBRIX_KERNEL_INLINE Separated separate(const unsigned char *from)
    {
        const Bytes a = load(from);
        const Bytes b = load(from + N);
        // pack takes blocks in turn.
        const Bytes first = shuffleBlocks<typename Orders::template EverySecond<0>>(a, b);
        const Bytes second = shuffleBlocks<typename Orders::template EverySecond<1>>(a, b);
        return {Local::pack(evenBytes(first), evenBytes(second)),
                Local::pack(oddBytes(first), oddBytes(second))};
    }
    /// The bytes 0, 3, 6 ... of a, 1, 4, 7 ... of b and 2, 5, 8 ... of c, in every block anew.
    NUBRIX_KERNEL_INLINE Bytes everyThird(Bytes a, Bytes b, Bytes c)
    {
        return shuffle<typename Orders::template WhereByte<2>>(
            shuffle<typename Orders::template WhereByte<1>>(a, b), c);
    }

private:
    using Orders = ByteOrders<N>;

    template <class Vector, int kHalf>
    NUBRIX_KERNEL_INLINE Bytes interleave(Bytes a, Bytes b)
    {
        constexpr int kElements = static_cast<int>(16 / sizeof(Vector{}[0]));
        return __builtin_bit_cast(
            Bytes, shuffle<typename Orders::template Interleaved<kElements, kHalf>>(
                       __builtin_bit_cast(Vector, a), __builtin_bit_cast(Vector, b)));
    }
    template <class Order, class Vector, int... kIndices>
    NUBRIX_KERNEL_INLINE Vector shuffle(Vector a, Vector b, std::integer_sequence<int, kIndices...>)
    {
        return __builtin_shufflevector(a, b, Order::of(kIndices)...);
    }
    template <int... kIndices>
    NUBRIX_KERNEL_INLINE Bytes join(HalfBytes a, HalfBytes b,
                                    std::integer_sequence<int, kIndices...>)
    {
        return __builtin_shufflevector(a, b, kIndices...);
    }
    template <int... kIndices>
    NUBRIX_KERNEL_INLINE void scatter(unsigned char *to, std::ptrdiff_t step, Bytes values,
                                      std::integer_sequence<int, kIndices...>)
    {
        (store(to + kIndices * step,
               block<16 * kIndices>(values, std::make_integer_sequence<int, 16>())),
         ...);
    }
    template <int kFirst, int... kIndices>
    NUBRIX_KERNEL_INLINE Block block(Bytes values, std::integer_sequence<int, kIndices...>)
    {
        return __builtin_shufflevector(values, values, (kFirst + kIndices)...);
    }
};

}  // namespace nubrix
