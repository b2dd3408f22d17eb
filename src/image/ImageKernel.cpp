#include "image/ImageKernel.h"

#include <atomic>

#include "image/ImagePlain.h"

namespace nubrix {

namespace {

template <class T>
constexpr TurnKernel<T> kPlainTurns = {&PlainTurns<T>::clockwise90, &PlainTurns<T>::anticlockwise90,
                                       &PlainTurns<T>::reverse, &PlainTurns<T>::mirrorRow};

std::atomic<const ImageKernel *> &current()
{
    static std::atomic<const ImageKernel *> kernel = [] {
        const ImageKernel *const chosen = imageKernelOf(instructionSet());
        return chosen ? chosen : &kImagePlain;
    }();
    return kernel;
}

}  // namespace

const ImageKernel kImagePlain = {&plainI420Row,
                                 &plainNv21Row,
                                 &plainYuyvGroups,
                                 &plainUyvyGroups,
                                 kPlainTurns<unsigned char>,
                                 kPlainTurns<BytePair>,
                                 kPlainTurns<RGB888Pixel>,
                                 kDepthPlain};

const ImageKernel *imageKernelOf(InstructionSet set)
{
    if (!supports(set))
        return nullptr;
    switch (set) {
        case InstructionSet::kScalar:
            return &kImagePlain;
#ifdef __x86_64__
        case InstructionSet::kSse41:
            return &kImageSse41;
        case InstructionSet::kAvx2:
            return &kImageAvx2;
        case InstructionSet::kAvx512:
            return &kImageAvx512;
        case InstructionSet::kAvx512Vbmi:
            return &kImageAvx512Vbmi;
#endif
#ifdef __arm__
        case InstructionSet::kNeon:
            return &kImageNeon;
#endif
        default:
            return nullptr;
    }
}

const ImageKernel &imageKernel()
{
    return *current().load(std::memory_order_relaxed);
}

void setImageKernel(const ImageKernel &kernel)
{
    current().store(&kernel, std::memory_order_relaxed);
}

}  // namespace nubrix
