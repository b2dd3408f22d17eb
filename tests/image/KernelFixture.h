// Tests that run once with every kernel.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>
#include <string>
#include <vector>

#include "image/ImageKernel.h"
#include "tests/image/WideLanes.h"

namespace nubrix {

struct NamedKernel {
    std::string name;
    const ImageKernel *kernel;

    friend std::ostream &operator<<(std::ostream &out, const NamedKernel &named)
    {
        return out << named.name;
    }
};

inline std::vector<NamedKernel> allKernels()
{
    std::vector<NamedKernel> kernels = {{"of16Bytes", &kImageOf16Bytes},
                                        {"of64Bytes", &kImageOf64Bytes}};
    for (const InstructionSet set : kInstructionSets) {
        if (const ImageKernel *const kernel = imageKernelOf(set))
            kernels.push_back({nameOf(set), kernel});
    }
    return kernels;
}

/// The image functions use the kernel of the test while it runs.
class KernelFixture : public testing::TestWithParam<NamedKernel> {
protected:
    KernelFixture() : m_before(imageKernel()) { setImageKernel(*GetParam().kernel); }
    ~KernelFixture() override { setImageKernel(m_before); }

    // Sanitizers and the emulator of 32-bit ARM are 10 to 50 times slower: there only every 13th of
    // the small sizes is tried, every 5th of the large ones and every 5th of the values of U. The
    // kernel that runs on that board is tried with every 3rd size and every value. A plain build
    // and the board itself try everything.
    static unsigned int everySize() { return isThinned() ? 13 : isEmulated() ? 3 : 1; }
    static unsigned int everyLargeSize() { return isThinned() ? 5 : isEmulated() ? 3 : 1; }
    static int everyU() { return isThinned() ? 5 : 1; }

private:
    static bool isEmulated() { return std::getenv("NUBRIX_EMULATED") != nullptr; }
    static bool isThinned()
    {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        return true;
#else
        return isEmulated() && GetParam().name != nameOf(InstructionSet::kNeon);
#endif
    }

    const ImageKernel &m_before;
};

inline std::string kernelName(const testing::TestParamInfo<NamedKernel> &named)
{
    return named.param.name;
}

}  // namespace nubrix
