// The orders in which ByteLanes shuffles: which lane each lane of a result comes from.
#pragma once

namespace nubrix {

/// Of vectors of N bytes; lanes of a second vector are counted after those of the first.
template <int N>
struct ByteOrders {
    static constexpr int kBlocks = N / 16;

    struct Packed {  // of the bytes of two vectors of words, the lower ones
        static constexpr int of(int i) { return i / 16 * 16 + i % 8 * 2 + (i % 16 < 8 ? 0 : N); }
    };
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
    template <int kPart>
    struct SpreadBlocks {
        static constexpr int of(int i)
        {
            int block = 0;
            while ((3 * block + kPart) % kBlocks != i)
                ++block;
            return block;
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
    template <int kVector>
    struct BlendBytes {  // which colour it is
        static constexpr int of(int i) { return (16 * kVector + i % 16) % 3; }
    };
    template <int kVector>
    struct BlendBlocks {  // which part of the block it is
        static constexpr int of(int i) { return (kBlocks * kVector + i / 16) % 3; }
    };
    template <class Which, int kThat>
    struct Where {  // lanes of the second vector where it is kThat
        static constexpr int of(int i) { return Which::of(i) == kThat ? N + i : i; }
    };
    template <class Order>
    struct HalfBlocks {
        static constexpr int of(int i) { return 2 * Order::of(i / 2) + i % 2; }
    };
};

}  // namespace nubrix
