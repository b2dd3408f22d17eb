#include "image/ImageKernel.h"

#include <gtest/gtest.h>

namespace nubrix {

namespace {

TEST(ImageKernel, ThereIsOneForEveryInstructionSetOfThisProcessor)
{
    for (const InstructionSet set : kInstructionSets)
        EXPECT_EQ(imageKernelOf(set) != nullptr, supports(set)) << nameOf(set);
    EXPECT_EQ(imageKernelOf(InstructionSet::kScalar), &kImagePlain);
}

TEST(ImageKernel, ThatOfTheChosenInstructionSetIsUsed)
{
    EXPECT_EQ(&imageKernel(), imageKernelOf(instructionSet()));
}

}  // namespace

}  // namespace nubrix
