#include "tests/image/WideLanes.h"

#include "image/ImageLanes.h"

namespace nubrix {

namespace {

/// What the instruction sets of x86 have instructions for, in the compiler's own vectors.
template <class Local, int N>
struct PortableLanes : ByteLanes<Local, N> {
    using typename ByteLanes<Local, N>::Bytes;
    using typename ByteLanes<Local, N>::Words;
    using typename ByteLanes<Local, N>::HalfBytes;
    using ByteLanes<Local, N>::allOf;
    using ByteLanes<Local, N>::evenBytes;
    using ByteLanes<Local, N>::oddBytes;

    static Words addSaturated(Words a, Words b) { return saturated(wide(a) + wide(b)); }
    static Bytes subtractSaturated(Bytes a, Bytes b) { return (a > b ? a : b) - b; }
    static Words addProducts(Bytes unsignedBytes, Bytes signedBytes)
    {
        const Words both = __builtin_bit_cast(Words, signedBytes);
        const Words even = __builtin_bit_cast(Words, signedBytes) << 8 >> 8;
        return saturated(wide(evenBytes(unsignedBytes)) * wide(even) +
                         wide(oddBytes(unsignedBytes)) * wide(both >> 8));
    }
    static Words multiplyHigh(Words a, int factor)
    {
        const UnsignedWide all = __builtin_bit_cast(UnsignedWide, wide(a) & 65535);
        return __builtin_convertvector(all * static_cast<unsigned int>(factor) >> 16, Words);
    }
    static Words multiplyHighSigned(Words a, int factor)
    {
        return __builtin_convertvector(wide(a) * factor >> 16, Words);
    }
    static Bytes pack(Words a, Words b)
    {
        return ByteLanes<Local, N>::template shuffle<Packed>(clamped(a), clamped(b));
    }
    static Words spread(const void *from, int low)
    {
        const auto bytes = ByteLanes<Local, N>::template load<HalfBytes>(from);
        return __builtin_convertvector(bytes, Words) << 8 | allOf(low);
    }

private:
    typedef int Wide __attribute__((vector_size(2 * N)));
    typedef unsigned int UnsignedWide __attribute__((vector_size(2 * N)));

    struct Packed {  // the lower bytes of two vectors of words
        static constexpr int of(int i) { return i / 16 * 16 + i % 8 * 2 + (i % 16 < 8 ? 0 : N); }
    };

    static Wide wide(Words words) { return __builtin_convertvector(words, Wide); }
    static Words saturated(Wide values)
    {
        values = values < -32768 ? Wide{} - 32768 : values;
        return __builtin_convertvector(values > 32767 ? Wide{} + 32767 : values, Words);
    }
    static Bytes clamped(Words words)
    {
        words = words < 0 ? Words{} : words;
        return __builtin_bit_cast(Bytes, words > 255 ? allOf(255) : words);
    }
};

struct LanesOf16 : PortableLanes<LanesOf16, 16> {};
struct LanesOf32 : ByteLanes<LanesOf32, 32> {};
struct LanesOf64 : PortableLanes<LanesOf64, 64> {
    static constexpr bool kHasThreeWayLogic = true;
};

constexpr YuvKernel kYuvOf16Bytes = kYuvKernelOf<LanesOf16>;
constexpr YuvKernel kYuvOf64Bytes = kYuvKernelOf<LanesOf64>;
constexpr TurnKernels kTurnsOf16Bytes = kTurnKernelsOf<LanesOf16>;
constexpr TurnKernels kTurnsOf64Bytes = kTurnKernelsOf<LanesOf64, LanesOf32>;

}  // namespace

const ImageKernel kImageOf16Bytes = {&kYuvOf16Bytes, &kTurnsOf16Bytes};
const ImageKernel kImageOf64Bytes = {&kYuvOf64Bytes, &kTurnsOf64Bytes};

}  // namespace nubrix
