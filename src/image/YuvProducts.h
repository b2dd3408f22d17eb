// The formulas of the conversions from YUV to RGB, for instruction sets that multiply bytes in
// pairs and keep the upper halves of products, as all of x86 from SSSE3 on do: a factor with a
// fraction then takes one instruction. Compiled once for each instruction set.
//
// Two pixels share a U and a V. A formula computes from U and V what the colours add to Y, and then
// the colours of the first and of the second pixels of the pairs; all are words of 16 bits. The
// factors of the formula of 10 bits but those of U and V are multiples of 8, so
//     (1192 y + c) >> 10 = (149 y + floor(c / 8)) >> 7
// which fits when a constant is subtracted from one summand and added to the other; likewise
//     (298 y + c) >> 8 = (149 y + floor(c / 2)) >> 7
// for that of 8 bits. The formula of doubles adds a fraction to the whole number Y, which is
// rounded like the fraction alone: a whole number for every U and V.
//
// A product with the upper half is (256 x) * (256 factor) >> 16, so x lies in the upper byte of a
// word. What lies in its lower byte is a constant that rounds the result the right way and makes
// the sum of another product whole.
#pragma once

#include "image/ByteLanes.h"

namespace nubrix {

/// Words of the first pixels of the pairs, and of the second ones.
template <class Lanes>
struct YuvPairs {
    typename Lanes::Words first, second;
};

/// Operations that Lanes offers in addition to those of ByteLanes:
///   Words addSaturated(Words a, Words b)
///   Words addProducts(Bytes unsignedBytes, Bytes signedBytes)  the sums of two products of bytes
///   Words multiplyHigh(Words a, int factor)                    the upper half, all unsigned
///   Words multiplyHighSigned(Words a, int factor)
///   Bytes subtractSaturated(Bytes a, Bytes b)                  0 where b is larger
///   Bytes pack(Words a, Words b)                               clamped to bytes: in each block
///   those
///                                                              of a, then those of b
///   Words spread(const void *from, int low)                    words 256 * byte + low
template <class Lanes>
struct YuvProducts {
    using Bytes = typename Lanes::Bytes;
    using Words = typename Lanes::Words;

    /// Every word: `even` in its lower byte, `odd` in its upper one.
    NUBRIX_KERNEL_INLINE Bytes bytesOf(int even, int odd)
    {
        return __builtin_bit_cast(Bytes, Lanes::allOf(odd * 256 + (even & 255)));
    }
    /// bytes[0] * even + bytes[1] * odd, the bytes being unsigned.
    NUBRIX_KERNEL_INLINE Words ofUnsigned(Bytes bytes, int even, int odd)
    {
        return Lanes::addProducts(bytes, bytesOf(even, odd));
    }
    NUBRIX_KERNEL_INLINE Words ofUnsigned(Words words, int even, int odd)
    {
        return ofUnsigned(__builtin_bit_cast(Bytes, words), even, odd);
    }
    /// The same for signed bytes; the factors are 0 to 255.
    NUBRIX_KERNEL_INLINE Words ofSigned(Bytes bytes, int even, int odd)
    {
        return Lanes::addProducts(bytesOf(even, odd), bytes);
    }
    /// Modulo 2^16: the terms of a sum that fits need not.
    NUBRIX_KERNEL_INLINE Words added(Words a, Words b)
    {
        return __builtin_bit_cast(
            Words, __builtin_bit_cast(Unsigned, a) + __builtin_bit_cast(Unsigned, b));
    }
    NUBRIX_KERNEL_INLINE Words subtracted(Words a, Words b)
    {
        return __builtin_bit_cast(
            Words, __builtin_bit_cast(Unsigned, a) - __builtin_bit_cast(Unsigned, b));
    }
    /// Bytes minus 128.
    NUBRIX_KERNEL_INLINE Bytes centred(Bytes bytes) { return bytes ^ bytesOf(128, 128); }

    /// 149 * luma + kAdd for the pixels at even places and for those at odd ones.
    template <int kAdd>
    NUBRIX_KERNEL_INLINE YuvPairs<Lanes> scaledLuma(Bytes luma)
    {
        constexpr int kRest = 149 * 128 + kAdd;
        if constexpr (Lanes::kHasThreeWayLogic) {
            // The other byte takes part in the product: with kRest.
            constexpr int kFactor = factorOf(kRest);
            const Bytes even = (luma & bytesOf(255, 0)) ^ bytesOf(128, kRest / kFactor);
            const Bytes odd = (luma & bytesOf(0, 255)) ^ bytesOf(kRest / kFactor, 128);
            return {ofSigned(even, 149, kFactor), ofSigned(odd, kFactor, 149)};
        } else {
            const Bytes y = centred(luma);
            const Words rest = Lanes::allOf(kRest);
            return {ofSigned(y, 149, 0) + rest, ofSigned(y, 0, 149) + rest};
        }
    }

private:
    typedef unsigned short Unsigned __attribute__((vector_size(sizeof(Words))));

    // A byte that divides the product with a quotient that is a signed byte.
    static constexpr int factorOf(int product)
    {
        int factor = 1;
        while (product % factor != 0 || product / factor > 127)
            ++factor;
        return factor;
    }
};

/// The formula of 10 bits. Luma has kLess subtracted from it, so that it fits 16 bits; red and
/// green have it added.
template <class Lanes>
class ProductsOf10Bits {
public:
    using Products = YuvProducts<Lanes>;
    using Bytes = typename Lanes::Bytes;
    using Words = typename Lanes::Words;

    // The lower bytes of the words of U and V. The upper half of a product of kLowV is 35 and a
    // fraction for red, 17 and a fraction for green; it makes floor() of red and ceil() of green
    // exact. kLowU * -115 is the -256 + 26 that blue needs.
    static constexpr int kLowU = 2;
    static constexpr int kLowV = 44;

    NUBRIX_KERNEL_INLINE YuvPairs<Lanes> luma(Bytes y)
    {
        return Products::template scaledLuma<-kLess>(
            Lanes::subtractSaturated(y, Products::bytesOf(16, 16)));
    }
    /// Words of 256 U + kLowU and 256 V + kLowV.
    ProductsOf10Bits(Words u, Words v)
    {
        // floor(204.25 (V - 128)) and floor(-104.125 (V - 128)) - 50 (U - 128)
        m_red = Products::added(Lanes::multiplyHigh(v, 52288), Lanes::allOf(kLess - 26144 - 35));
        m_green =
            Products::subtracted(Products::ofUnsigned(u, 0, -50), Lanes::multiplyHigh(v, 26656));
        m_green = Products::added(m_green, Lanes::allOf(kLess + 6400 + 13328 + 17));
        // floor(2.25 (U - 128)) + 288 and 2 (U - 128) + 26
        m_blue = Lanes::multiplyHigh(u, 576);
        m_bluePlus = Products::ofUnsigned(u, -115, 2);
    }
    Words red(Words luma) const { return Lanes::addSaturated(luma, m_red) >> 7; }
    Words green(Words luma) const { return Lanes::addSaturated(luma, m_green) >> 7; }
    Words blue(Words luma) const { return ((luma + m_blue) >> 7) + m_bluePlus; }

private:
    static constexpr int kLess = 26 * 128 + 288;

    Words m_red, m_green, m_blue, m_bluePlus;
};

/// The formula of 8 bits.
template <class Lanes>
class ProductsOf8Bits {
public:
    using Products = YuvProducts<Lanes>;
    using Bytes = typename Lanes::Bytes;
    using Words = typename Lanes::Words;

    NUBRIX_KERNEL_INLINE YuvPairs<Lanes> luma(Bytes y)
    {
        return Products::template scaledLuma<-149 * 16 - kLess>(y);
    }
    /// Pairs of bytes, U and V.
    explicit ProductsOf8Bits(Bytes chroma)
    {
        const Bytes centred = Products::centred(chroma);
        const Words e = __builtin_bit_cast(Words, centred) >> 9;  // half of V - 128
        m_red = Products::ofSigned(centred, 0, 204) + e + Lanes::allOf(kLess + 64);
        m_green = Lanes::allOf(kLess + 64) - Products::ofSigned(centred, 50, 104);
        m_blue = Products::ofSigned(centred, 2, 0);
        m_bluePlus = m_blue + Lanes::allOf(32);
    }
    Words red(Words luma) const { return Lanes::addSaturated(luma, m_red) >> 7; }
    Words green(Words luma) const { return Lanes::addSaturated(luma, m_green) >> 7; }
    Words blue(Words luma) const { return ((luma + m_blue) >> 7) + m_bluePlus; }

private:
    static constexpr int kLess = 32 * 128 - 64;  // the 64 is what blue rounds with

    Words m_red, m_green, m_blue, m_bluePlus;
};

/// The formula of doubles.
template <class Lanes>
class ProductsOfDoubles {
public:
    using Products = YuvProducts<Lanes>;
    using Bytes = typename Lanes::Bytes;
    using Words = typename Lanes::Words;

    NUBRIX_KERNEL_INLINE YuvPairs<Lanes> luma(Bytes y)
    {
        return {Lanes::evenBytes(y), Lanes::oddBytes(y)};
    }
    /// Pairs of bytes, U and V.
    explicit ProductsOfDoubles(Bytes chroma)
    {
        const Bytes centred = Products::centred(chroma);
        m_red = Lanes::multiplyHighSigned(Products::ofSigned(centred, 0, 8), 11229);
        m_blue = Lanes::multiplyHighSigned(Products::ofSigned(centred, 8, 0), 14192);
        // floor((-731907 (V - 128) - 354034 (U - 128)) / 2^20) in steps of 6, 7 and 7 bits.
        const Words fine = Products::ofSigned(centred, 14, 61) >> 6;
        const Words middle = (fine - Products::ofSigned(centred, 28, 45)) >> 7;
        m_green = (middle - Products::ofSigned(centred, 43, 89)) >> 7;
    }
    Words red(Words luma) const { return luma + m_red; }
    Words green(Words luma) const { return luma + m_green; }
    Words blue(Words luma) const { return luma + m_blue; }

private:
    Words m_red, m_green, m_blue;
};

/// Which formula a format has, and how its U and V are loaded.
template <class Lanes>
struct YuvColours {
    using Bytes = typename Lanes::Bytes;
    using Of10Bits = ProductsOf10Bits<Lanes>;

    NUBRIX_KERNEL_INLINE Of10Bits i420(const unsigned char *u, const unsigned char *v)
    {
        return {Lanes::spread(u, Of10Bits::kLowU), Lanes::spread(v, Of10Bits::kLowV)};
    }
    NUBRIX_KERNEL_INLINE Of10Bits nv21(const unsigned char *vu)
    {
        const Bytes chroma = Lanes::load(vu);
        return {Lanes::oddBytesRaised(chroma, Of10Bits::kLowU),
                Lanes::evenBytesRaised(chroma, Of10Bits::kLowV)};
    }
    NUBRIX_KERNEL_INLINE ProductsOfDoubles<Lanes> yuyv(Bytes chroma)
    {
        return ProductsOfDoubles<Lanes>(chroma);
    }
    NUBRIX_KERNEL_INLINE ProductsOf8Bits<Lanes> uyvy(Bytes chroma)
    {
        return ProductsOf8Bits<Lanes>(chroma);
    }
};

}  // namespace nubrix
