// What this process uses of the machine.
#pragma once

#include <optional>

namespace nubrix::soak {

struct Resources {
    std::optional<unsigned long>
        residentKib;            // of no file; none where a sanitizer keeps freed memory
    unsigned long heapKib = 0;  // allocated and not freed
    unsigned int threads = 0;
    unsigned int descriptors = 0;
};

/// As it is now. Throws std::runtime_error where /proc cannot be read.
Resources measureResources();

}  // namespace nubrix::soak
