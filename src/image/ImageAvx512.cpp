// Image kernels with AVX-512.
#include "image/Avx512Lanes.h"
#include "image/ImageLanes.h"

namespace nubrix {

namespace {

struct Lanes : Avx512Lanes<Lanes> {
    NUBRIX_KERNEL_INLINE Words spread(const void *from, int low)
    {
        const __m256i bytes = _mm256_loadu_si256(static_cast<const __m256i *>(from));
        return evenBytesRaised(reinterpret_cast<Bytes>(_mm512_cvtepu8_epi16(bytes)), low);
    }
    NUBRIX_KERNEL_INLINE Bytes everyThird(Bytes a, Bytes b, Bytes c)
    {
        const __m512i both = _mm512_mask_mov_epi8(of(a), where<IsByte<1>>(), of(b));
        return reinterpret_cast<Bytes>(_mm512_mask_mov_epi8(both, where<IsByte<2>>(), of(c)));
    }
    NUBRIX_KERNEL_INLINE void storeBlocks(unsigned char *to, Bytes first, Bytes second, Bytes third)
    {
        using A = Joined<0, 4, -1, 1>;  // blocks of the first vector, and 4 + those of the second
        using B = Joined<0, 1, 4, 3>;
        using C = Joined<1, -1, 6, 2>;
        using D = Joined<0, 5, 2, 3>;
        using E = Joined<2, 7, -1, 3>;
        using F = Joined<0, 1, 7, 3>;
        store(to, shuffleBlocks<B>(shuffleBlocks<A>(first, second), third));
        store(to + 64, shuffleBlocks<D>(shuffleBlocks<C>(second, first), third));
        store(to + 128, shuffleBlocks<F>(shuffleBlocks<E>(third, first), second));
    }

private:
    template <int kPlace>
    struct IsByte {  // of three in a block
        static constexpr int of(int i) { return i % 16 % 3 == kPlace; }
    };
    template <int... kBlocksInOrder>
    struct Joined {
        static constexpr int of(int i)
        {
            constexpr int kAll[] = {kBlocksInOrder...};
            return kAll[i] < 0 ? i : kAll[i];
        }
    };
};

struct TileLanes : ByteLanes<TileLanes, 32> {};

}  // namespace

const YuvKernel kYuvAvx512 = kYuvKernelOf<Lanes>;
const TurnKernels kTurnsAvx512 = kTurnKernelsOf<Lanes, TileLanes>;

}  // namespace nubrix
