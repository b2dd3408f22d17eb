// What the fuzz targets and the programs that run them have in common.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// Runs the code under test on one input. Returns 0; ends the process when something is wrong.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t sizeBytes);

namespace nubrix {

/// Ends the process when something that must hold does not; a fuzzer keeps the input then.
inline void require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

}  // namespace nubrix
