#include "cpu/CpuFeatures.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace nubrix {

namespace {

constexpr InstructionSet kAll[] = {InstructionSet::kScalar, InstructionSet::kAvx2,
                                   InstructionSet::kAvx512, InstructionSet::kNeon};

TEST(CpuFeatures, EverySetIsChosenByItsNameWhereItIsSupported)
{
    for (const InstructionSet set : kAll) {
        const InstructionSet best = chooseInstructionSet(nullptr);
        EXPECT_EQ(chooseInstructionSet(nameOf(set)), supports(set) ? set : best) << nameOf(set);
    }
}

TEST(CpuFeatures, TheNamesAreThoseOfTheDocuments)
{
    EXPECT_EQ(nameOf(InstructionSet::kScalar), std::string("scalar"));
    EXPECT_EQ(nameOf(InstructionSet::kAvx2), std::string("avx2"));
    EXPECT_EQ(nameOf(InstructionSet::kAvx512), std::string("avx512"));
    EXPECT_EQ(nameOf(InstructionSet::kNeon), std::string("neon"));
}

TEST(CpuFeatures, AnUnknownNameMeansTheBest)
{
    const InstructionSet best = chooseInstructionSet(nullptr);
    for (const char *const name : {"", "AVX2", "avx", "avx2 ", "sse9"})
        EXPECT_EQ(chooseInstructionSet(name), best) << name;
}

TEST(CpuFeatures, ThePlainFormulasRunEverywhereAndAreTheBestOnlyWithoutOthers)
{
    EXPECT_TRUE(supports(InstructionSet::kScalar));
    EXPECT_EQ(chooseInstructionSet("scalar"), InstructionSet::kScalar);
    bool others = false;
    for (const InstructionSet set : kAll)
        others = others || (set != InstructionSet::kScalar && supports(set));
    EXPECT_EQ(chooseInstructionSet(nullptr) != InstructionSet::kScalar, others);
}

TEST(CpuFeatures, OnlySetsOfThisArchitectureAreSupported)
{
#ifdef __x86_64__
    EXPECT_FALSE(supports(InstructionSet::kNeon));
#else
    EXPECT_FALSE(supports(InstructionSet::kAvx2));
    EXPECT_FALSE(supports(InstructionSet::kAvx512));
#endif
}

TEST(CpuFeatures, SetsThatAreNotSupportedMultiplyNothing)
{
    EXPECT_EQ(carrylessBytes(InstructionSet::kScalar), 0U);
    for (const InstructionSet set : kAll)
        EXPECT_TRUE(supports(set) || carrylessBytes(set) == 0U) << nameOf(set);
}

TEST(CpuFeatures, OutputsThatExceedTheLastCacheAreStreamedButNoneBelow8Megabytes)
{
    constexpr std::size_t kLeast = std::size_t{8} << 20;
    for (const long smallOrUnknown : {-1L, 0L, 1L << 20, 8L << 20})
        EXPECT_EQ(streamingThreshold(smallOrUnknown), kLeast) << smallOrUnknown;
    for (const long large : {(8L << 20) + 1, 32L << 20, 384L << 20, 480L << 20})
        EXPECT_EQ(streamingThreshold(large), static_cast<std::size_t>(large));
    EXPECT_EQ(streamingThreshold(), streamingThreshold(sysconf(_SC_LEVEL3_CACHE_SIZE)));
}

}  // namespace

}  // namespace nubrix
