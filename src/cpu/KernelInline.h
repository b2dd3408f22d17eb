// How the functions of kernels are declared, which are compiled once for each instruction set.
#pragma once

// Inlined wherever they are called, also without optimisation: no copy of one instruction set must
// be left for the linker to take in the place of another's.
#define NUBRIX_KERNEL_INLINE [[gnu::always_inline]] static inline
