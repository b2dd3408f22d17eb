#include "cpu/CpuFeatures.h"

#include <gtest/gtest.h>
#ifdef __arm__
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif
#include <unistd.h>

#include <fstream>
#include <string>

namespace nubrix {

namespace {

TEST(CpuFeatures, EverySetIsChosenByItsNameWhereItIsSupported)
{
    for (const InstructionSet set : kInstructionSets) {
        const InstructionSet best = chooseInstructionSet(nullptr);
        EXPECT_EQ(chooseInstructionSet(nameOf(set)), supports(set) ? set : best) << nameOf(set);
    }
}

TEST(CpuFeatures, TheNamesAreThoseOfTheDocuments)
{
    EXPECT_EQ(nameOf(InstructionSet::kScalar), std::string("scalar"));
    EXPECT_EQ(nameOf(InstructionSet::kSse41), std::string("sse41"));
    EXPECT_EQ(nameOf(InstructionSet::kAvx2), std::string("avx2"));
    EXPECT_EQ(nameOf(InstructionSet::kAvx512), std::string("avx512"));
    EXPECT_EQ(nameOf(InstructionSet::kAvx512Vbmi), std::string("avx512vbmi"));
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
    for (const InstructionSet set : kInstructionSets)
        others = others || (set != InstructionSet::kScalar && supports(set));
    EXPECT_EQ(chooseInstructionSet(nullptr) != InstructionSet::kScalar, others);
}

TEST(CpuFeatures, OnlySetsOfThisArchitectureAreSupported)
{
#ifdef __x86_64__
    EXPECT_FALSE(supports(InstructionSet::kNeon));
#else
    EXPECT_FALSE(supports(InstructionSet::kSse41));
    EXPECT_FALSE(supports(InstructionSet::kAvx2));
    EXPECT_FALSE(supports(InstructionSet::kAvx512));
    EXPECT_FALSE(supports(InstructionSet::kAvx512Vbmi));
#endif
}

TEST(CpuFeatures, ASetOfX86IsSupportedOnlyWithAllThatItIncludes)
{
    constexpr InstructionSet kEachIncludesThePrevious[] = {
        InstructionSet::kSse41, InstructionSet::kAvx2, InstructionSet::kAvx512,
        InstructionSet::kAvx512Vbmi};
    bool previous = true;
    for (const InstructionSet set : kEachIncludesThePrevious) {
        EXPECT_TRUE(previous || !supports(set)) << nameOf(set);
        previous = supports(set);
    }
}

#ifdef __x86_64__
TEST(CpuFeatures, WhatTheSystemReportsIsSupported)
{
    std::ifstream file("/proc/cpuinfo");
    std::string line;
    while (line.rfind("flags", 0) != 0)
        ASSERT_TRUE(std::getline(file, line));
    line += ' ';
    const auto has = [&line](const char *flag) {
        return line.find(' ' + std::string(flag) + ' ') != std::string::npos;
    };
    EXPECT_EQ(supports(InstructionSet::kSse41), has("sse4_1"));
    EXPECT_EQ(supports(InstructionSet::kAvx2), has("avx2") && has("fma"));
    EXPECT_EQ(supports(InstructionSet::kAvx512Vbmi),
              supports(InstructionSet::kAvx512) && has("avx512vbmi"));
}

TEST(CpuFeatures, EverySetOfX86MultipliesWhatItsRegistersHold)
{
    const std::size_t narrow = __builtin_cpu_supports("pclmul") ? 16 : 0;
    const bool isWide = narrow != 0 && __builtin_cpu_supports("vpclmulqdq");
    const auto expect = [](InstructionSet set, std::size_t bytes) {
        EXPECT_EQ(carrylessBytes(set), supports(set) ? bytes : 0U) << nameOf(set);
    };
    expect(InstructionSet::kSse41, narrow);
    expect(InstructionSet::kAvx2, isWide ? 32 : narrow);
    expect(InstructionSet::kAvx512, isWide ? 64 : narrow);
    expect(InstructionSet::kAvx512Vbmi, isWide ? 64 : narrow);
}
#endif

#ifdef __arm__
TEST(CpuFeatures, NeonNeedsNoFusedMultiplyAdd)
{
    const unsigned long has = getauxval(AT_HWCAP);
    EXPECT_EQ(supports(InstructionSet::kNeon), (has & HWCAP_NEON) != 0);
    EXPECT_EQ(hasNeonFusedMultiplyAdd(), (has & HWCAP_NEON) != 0 && (has & HWCAP_VFPv4) != 0);
}
#else
TEST(CpuFeatures, OnlyNeonHasTheFusedMultiplyAddOfNeon)
{
    EXPECT_FALSE(hasNeonFusedMultiplyAdd());
}
#endif

TEST(CpuFeatures, SetsThatAreNotSupportedMultiplyNothing)
{
    EXPECT_EQ(carrylessBytes(InstructionSet::kScalar), 0U);
    for (const InstructionSet set : kInstructionSets)
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
