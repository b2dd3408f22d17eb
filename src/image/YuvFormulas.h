// The formulas of YuvPlain.h in words of 16 bits; compiled once for each instruction set.
#pragma once

#include "image/ByteLanes.h"

namespace nubrix {

/// Pixels in pairs: words of the first pixels' Y, the second pixels' Y, and the U and V of both.
template <class Lanes>
struct YuvPairs {
    typename Lanes::Words first, second, u, v;
};

/// The formula of 10 bits. Its factors but those of U and V are multiples of 8, so
///     (1192 y + c) >> 10 = (149 y + floor(c / 8)) >> 7
/// which fits 16 bits with 4096 taken from the one and given to the other. For blue it does not;
/// there 2048 u and the 4096 are added at the end.
template <class Lanes>
struct Of10Bits {
    using Words = typename Lanes::Words;

    explicit Of10Bits(const YuvPairs<Lanes> &pairs)
    {
        const Words d = pairs.u - Lanes::allOf(128);
        const Words e = pairs.v - Lanes::allOf(128);
        m_red = 204 * e + (e >> 2) + Lanes::allOf(4096);
        m_green = -104 * e - 50 * d + (-e >> 3) + Lanes::allOf(4096);
        m_blue = 2 * d + (d >> 2);
        m_bluePlus = 2 * d + Lanes::allOf(32);
    }
    NUBRIX_LANES_INLINE Words luma(Words y)
    {
        const Words dark = Lanes::allOf(16);
        // 149 (y - 16) - 4096, without a product that is too large on the way.
        return 149 * ((y > dark ? y : dark) - Lanes::allOf(44)) + Lanes::allOf(76);
    }
    Words red(Words luma) const { return Lanes::addSaturated(luma, m_red) >> 7; }
    Words green(Words luma) const { return Lanes::addSaturated(luma, m_green) >> 7; }
    Words blue(Words luma) const { return ((luma + m_blue) >> 7) + m_bluePlus; }

private:
    Words m_red, m_green, m_blue, m_bluePlus;
};

/// The formula of 8 bits, likewise: (298 y + c) >> 8 = (149 y + floor(c / 2)) >> 7.
template <class Lanes>
struct Of8Bits {
    using Words = typename Lanes::Words;

    explicit Of8Bits(const YuvPairs<Lanes> &pairs)
    {
        const Words d = pairs.u - Lanes::allOf(128);
        const Words e = pairs.v - Lanes::allOf(128);
        m_red = 204 * e + (e >> 1) + Lanes::allOf(4096 + 64);
        m_green = -50 * d - 104 * e + Lanes::allOf(4096 + 64);
        m_blue = 2 * d + Lanes::allOf(64);
        m_bluePlus = 2 * d + Lanes::allOf(32);
    }
    NUBRIX_LANES_INLINE Words luma(Words y)
    {
        return 149 * (y - Lanes::allOf(44)) + Lanes::allOf(76);
    }
    Words red(Words luma) const { return Lanes::addSaturated(luma, m_red) >> 7; }
    Words green(Words luma) const { return Lanes::addSaturated(luma, m_green) >> 7; }
    Words blue(Words luma) const { return ((luma + m_blue) >> 7) + m_bluePlus; }

private:
    Words m_red, m_green, m_blue, m_bluePlus;
};

/// The formula of doubles. A fraction plus a whole number is rounded like the fraction alone, so
/// the colours add whole numbers to Y; here are integer formulas that give them for every U and V.
/// That of green is floor((-731907 e - 354034 d) / 2^20), in three steps of 16 bits.
template <class Lanes>
struct OfDoubles {
    using Words = typename Lanes::Words;

    explicit OfDoubles(const YuvPairs<Lanes> &pairs)
    {
        const Words d = pairs.u - Lanes::allOf(128);
        const Words e = pairs.v - Lanes::allOf(128);
        m_red = e + ((178 * e + ((189 * e) >> 4)) >> 9);
        const Words fine = (-3 * e + 14 * d) >> 5;
        const Words middle = (-88 * e - 56 * d + fine) >> 8;
        m_green = (-89 * e - 43 * d + middle) >> 7;
        m_blue = 2 * d + ((-137 * d) >> 9);
    }
    NUBRIX_LANES_INLINE Words luma(Words y) { return y; }
    Words red(Words luma) const { return luma + m_red; }
    Words green(Words luma) const { return luma + m_green; }
    Words blue(Words luma) const { return luma + m_blue; }

private:
    Words m_red, m_green, m_blue;
};

}  // namespace nubrix
