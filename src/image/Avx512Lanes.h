// What the image kernels with AVX-512 share: 64 bytes at a time.
#pragma once

#include <immintrin.h>

#include "image/ByteLanes.h"

namespace nubrix {

/// `Local` is a type of the including source.
template <class Local>
struct Avx512Lanes : ByteLanes<Local, 64> {
    using typename ByteLanes<Local, 64>::Bytes;
    using typename ByteLanes<Local, 64>::Words;
    using ByteLanes<Local, 64>::allOf;

    static constexpr bool kHasThreeWayLogic = true;

    NUBRIX_KERNEL_INLINE Words addSaturated(Words a, Words b)
    {
        return reinterpret_cast<Words>(_mm512_adds_epi16(of(a), of(b)));
    }
    NUBRIX_KERNEL_INLINE Bytes subtractSaturated(Bytes a, Bytes b)
    {
        return reinterpret_cast<Bytes>(_mm512_subs_epu8(of(a), of(b)));
    }
    NUBRIX_KERNEL_INLINE Words addProducts(Bytes unsignedBytes, Bytes signedBytes)
    {
        return reinterpret_cast<Words>(_mm512_maddubs_epi16(of(unsignedBytes), of(signedBytes)));
    }
    NUBRIX_KERNEL_INLINE Words multiplyHigh(Words a, int factor)
    {
        return reinterpret_cast<Words>(_mm512_mulhi_epu16(of(a), of(allOf(factor))));
    }
    NUBRIX_KERNEL_INLINE Words multiplyHighSigned(Words a, int factor)
    {
        return reinterpret_cast<Words>(_mm512_mulhi_epi16(of(a), of(allOf(factor))));
    }
    NUBRIX_KERNEL_INLINE Bytes pack(Words a, Words b)
    {
        return reinterpret_cast<Bytes>(_mm512_packus_epi16(of(a), of(b)));
    }
    NUBRIX_KERNEL_INLINE Words evenBytesRaised(Bytes bytes, int low)
    {
        return reinterpret_cast<Words>(_mm512_mask_shuffle_epi8(
            of(allOf(low)), where<OddByte>(), of(bytes), of(order<PreviousByte>())));
    }
    NUBRIX_KERNEL_INLINE Words oddBytesRaised(Bytes bytes, int low)
    {
        return reinterpret_cast<Words>(
            _mm512_mask_mov_epi8(of(allOf(low)), where<OddByte>(), of(bytes)));
    }

protected:
    struct OddByte {
        static constexpr int of(int i) { return i % 2; }
    };
    struct PreviousByte {  // in its block
        static constexpr int of(int i) { return i % 16 == 0 ? 0 : i % 16 - 1; }
    };

    /// Bytes Order::of(i).
    template <class Order>
    NUBRIX_KERNEL_INLINE Bytes order()
    {
        return order<Order>(std::make_integer_sequence<int, 64>());
    }
    /// The lanes i with Which::of(i) != 0. It is made of a vector before the loop; the compiler
    /// would make a constant mask anew in every round.
    template <class Which>
    NUBRIX_KERNEL_INLINE __mmask64 where()
    {
        struct Sign {
            static constexpr int of(int i) { return Which::of(i) != 0 ? 128 : 0; }
        };
        return _mm512_movepi8_mask(of(order<Sign>()));
    }
    template <class Vector>
    NUBRIX_KERNEL_INLINE __m512i of(Vector values)
    {
        return reinterpret_cast<__m512i>(values);
    }

private:
    template <class Order, int... kIndices>
    NUBRIX_KERNEL_INLINE Bytes order(std::integer_sequence<int, kIndices...>)
    {
        return Bytes{Order::of(kIndices)...};
    }
};

}  // namespace nubrix
