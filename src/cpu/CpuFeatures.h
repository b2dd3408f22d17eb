// Which instruction set the vectorised functions use, and how their kernels are declared.
#pragma once

#include <cstddef>

/// Marks a function of a kernel, which is compiled once for each instruction set. It is inlined
/// wherever it is called, also without optimisation: no copy may be left that the linker could use
/// in place of another instruction set's.
#define NUBRIX_KERNEL_INLINE [[gnu::always_inline]] static inline

namespace nubrix {

enum class InstructionSet {
    kScalar,      // plain C++, on every processor
    kSse41,       // with SSSE3
    kAvx2,        // with FMA
    kAvx512,      // F, BW, DQ and VL
    kAvx512Vbmi,  // the same with VBMI
    kNeon,        // of 32-bit ARM; that of ARMv7 and VFPv3
};

/// All of them, the best first.
constexpr InstructionSet kInstructionSets[] = {
    InstructionSet::kAvx512Vbmi, InstructionSet::kAvx512, InstructionSet::kAvx2,
    InstructionSet::kSse41,      InstructionSet::kNeon,   InstructionSet::kScalar,
};

/// Whether this processor, its system and this build have it. Thread-safe.
bool supports(InstructionSet set);

/// Whether NEON has the fused multiply-add of VFPv4, too. Thread-safe.
bool hasNeonFusedMultiplyAdd();

/// "scalar", "sse41", "avx2", "avx512", "avx512vbmi" or "neon". Thread-safe.
const char *nameOf(InstructionSet set);

/// The set of a name if it is supported; else, and for null, the best one that is. Thread-safe.
InstructionSet chooseInstructionSet(const char *name);

/// What to use in this process: chosen on the first call from the environment variable NUBRIX_CPU.
/// Thread-safe.
InstructionSet instructionSet();

/// How many bytes one carry-less multiplication takes (half of them for each of two products) when
/// no more than this set is used: 64, 32, 16; 0 where there is none. Thread-safe.
std::size_t carrylessBytes(InstructionSet set);

/// How large an output must be to be written past the caches: 8 MB, or the last cache if that is
/// larger (sysconf returns 0 or -1 when it does not know). Thread-safe.
std::size_t streamingThreshold(long lastCacheBytes);

/// The same for the caches of this processor. Thread-safe.
std::size_t streamingThreshold();

}  // namespace nubrix
