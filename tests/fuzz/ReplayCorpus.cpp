// Runs a fuzz target on the inputs that are kept, in builds that have no fuzzer.
#include <cstdint>
#include <cstdio>
#include <exception>

#include "tests/fuzz/Corpus.h"
#include "tests/fuzz/FuzzTarget.h"

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    try {
        const auto inputs = nubrix::readCorpus(argv[1]);
        for (const nubrix::CorpusInput &input : inputs) {
            // Printed before: an input that ends the process is the last one named.
            std::printf("%s\n", input.path.c_str());
            std::fflush(stdout);
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.bytes.data()),
                                   input.bytes.size());
        }
        std::printf("%zu inputs\n", inputs.size());
        return 0;
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
