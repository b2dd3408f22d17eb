// Conversions from YUV with AVX-512 and VBMI, which permutes the bytes of a whole vector.
#include "image/Avx512Lanes.h"
#include "image/ImageLanes.h"

namespace nubrix {

namespace {

struct Lanes : Avx512Lanes<Lanes> {
    NUBRIX_KERNEL_INLINE Words spread(const void *from, int low)
    {
        const __m256i bytes = _mm256_loadu_si256(static_cast<const __m256i *>(from));
        return reinterpret_cast<Words>(_mm512_mask_permutexvar_epi8(
            of(allOf(low)), where<OddByte>(), of(order<Doubled>()), _mm512_castsi256_si512(bytes)));
    }
    NUBRIX_KERNEL_INLINE Separated separate(const unsigned char *from)
    {
        const Bytes a = load(from);
        const Bytes b = load(from + 64);
        return {everySecond<0>(a, b), everySecond<1>(a, b)};
    }
    NUBRIX_KERNEL_INLINE void storeRgb(unsigned char *to, Bytes r, Bytes g, Bytes b)
    {
        // 64 is no multiple of 3, so the bytes of one colour have different places in the three
        // vectors: one permutation puts them there, blending does the rest.
        r = shuffle<SpreadColour<0>>(r, r);
        g = shuffle<SpreadColour<1>>(g, g);
        b = shuffle<SpreadColour<2>>(b, b);
        store(to, everyThird(r, g, b));
        store(to + 64, everyThird(g, b, r));
        store(to + 128, everyThird(b, r, g));
    }

private:
    struct Doubled {
        static constexpr int of(int i) { return i / 2; }
    };
    template <int kFirst>
    struct EverySecond {
        static constexpr int of(int i) { return 2 * i % 64 + kFirst; }
    };
    struct SecondHalf {
        static constexpr int of(int i) { return i >= 32; }
    };
    template <int kPlace>
    struct IsByte {  // of three
        static constexpr int of(int i) { return i % 3 == kPlace; }
    };
    // The pixels of each block are in the order of pack(pixels 0, 2, 4 ..., pixels 1, 3, 5 ...).
    template <int kColour>
    struct SpreadColour {
        static constexpr int of(int i)
        {
            const int pixel = ((kColour + 3 - i % 3) % 3 * 64 + i) / 3;
            return pixel / 16 * 16 + pixel % 16 / 2 + pixel % 2 * 8;
        }
    };

    template <int kFirst>
    NUBRIX_KERNEL_INLINE Bytes everySecond(Bytes a, Bytes b)
    {
        const __m512i indices = of(order<EverySecond<kFirst>>());
        return reinterpret_cast<Bytes>(_mm512_mask_permutexvar_epi8(
            _mm512_permutexvar_epi8(indices, of(a)), where<SecondHalf>(), indices, of(b)));
    }
    NUBRIX_KERNEL_INLINE Bytes everyThird(Bytes a, Bytes b, Bytes c)
    {
        const __m512i both = _mm512_mask_mov_epi8(of(a), where<IsByte<1>>(), of(b));
        return reinterpret_cast<Bytes>(_mm512_mask_mov_epi8(both, where<IsByte<2>>(), of(c)));
    }
};

}  // namespace

const YuvKernel kYuvAvx512Vbmi = kYuvKernelOf<Lanes>;

}  // namespace nubrix
