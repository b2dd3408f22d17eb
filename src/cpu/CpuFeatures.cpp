#include "cpu/CpuFeatures.h"

#ifdef __arm__
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace nubrix {

namespace {

bool hasSse41()
{
#ifdef __x86_64__
    return __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("ssse3");
#else
    return false;
#endif
}

bool hasAvx2()
{
#ifdef __x86_64__
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
    return false;
#endif
}

bool hasAvx512()
{
#ifdef __x86_64__
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
#else
    return false;
#endif
}

bool hasAvx512Vbmi()
{
#ifdef __x86_64__
    return hasAvx512() && __builtin_cpu_supports("avx512vbmi");
#else
    return false;
#endif
}

bool hasNeon()
{
#ifdef __arm__
    return (getauxval(AT_HWCAP) & HWCAP_NEON) != 0;
#else
    return false;
#endif
}

// Carry-less multiplication of 16 bytes, and of whole vectors.
bool hasCarryless()
{
#if defined(__x86_64__)
    return __builtin_cpu_supports("pclmul");
#elif defined(__arm__)
    return (getauxval(AT_HWCAP2) & HWCAP2_PMULL) != 0;
#else
    return false;
#endif
}

bool hasWideCarryless()
{
#ifdef __x86_64__
    return __builtin_cpu_supports("vpclmulqdq");
#else
    return false;
#endif
}

}  // namespace

bool supports(InstructionSet set)
{
    switch (set) {
        case InstructionSet::kScalar:
            return true;
        case InstructionSet::kSse41:
            return hasSse41();
        case InstructionSet::kAvx2:
            return hasAvx2();
        case InstructionSet::kAvx512:
            return hasAvx512();
        case InstructionSet::kAvx512Vbmi:
            return hasAvx512Vbmi();
        case InstructionSet::kNeon:
            return hasNeon();
    }
    return false;
}

bool hasNeonFusedMultiplyAdd()
{
#ifdef __arm__
    return hasNeon() && (getauxval(AT_HWCAP) & HWCAP_VFPv4) != 0;
#else
    return false;
#endif
}

const char *nameOf(InstructionSet set)
{
    switch (set) {
        case InstructionSet::kScalar:
            return "scalar";
        case InstructionSet::kSse41:
            return "sse41";
        case InstructionSet::kAvx2:
            return "avx2";
        case InstructionSet::kAvx512:
            return "avx512";
        case InstructionSet::kAvx512Vbmi:
            return "avx512vbmi";
        case InstructionSet::kNeon:
            return "neon";
    }
    return "";
}

InstructionSet chooseInstructionSet(const char *name)
{
    for (const InstructionSet set : kInstructionSets) {
        if (name && std::strcmp(name, nameOf(set)) == 0 && supports(set))
            return set;
    }
    for (const InstructionSet set : kInstructionSets) {
        if (supports(set))
            return set;
    }
    return InstructionSet::kScalar;
}

InstructionSet instructionSet()
{
    static const InstructionSet kChosen = chooseInstructionSet(std::getenv("NUBRIX_CPU"));
    return kChosen;
}

std::size_t carrylessBytes(InstructionSet set)
{
    if (set == InstructionSet::kScalar || !supports(set) || !hasCarryless())
        return 0;
    if (set == InstructionSet::kNeon || set == InstructionSet::kSse41 || !hasWideCarryless())
        return 16;
    return set == InstructionSet::kAvx2 ? 32 : 64;
}

std::size_t streamingThreshold(long lastCacheBytes)
{
    constexpr long kLeast = 8L << 20;
    return static_cast<std::size_t>(std::max(kLeast, lastCacheBytes));
}

std::size_t streamingThreshold()
{
    static const std::size_t kThreshold = streamingThreshold(sysconf(_SC_LEVEL3_CACHE_SIZE));
    return kThreshold;
}

}  // namespace nubrix
