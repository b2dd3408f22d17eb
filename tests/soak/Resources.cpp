#include "tests/soak/Resources.h"

#include <malloc.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>

#ifdef NUBRIX_SOAK_SANITIZED
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace nubrix::soak {

namespace {

unsigned int entriesOf(const char *folder)
{
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<unsigned int>(std::distance(begin(entries), end(entries)));
}

#ifndef NUBRIX_SOAK_SANITIZED
/// Without the pages of files: code that runs for the first time is no growth.
unsigned long residentKib()
{
    std::ifstream status("/proc/self/status");
    std::string key;
    unsigned long value = 0;
    unsigned long resident = 0;
    for (std::string line; std::getline(status, line);) {
        std::istringstream words(line);
        if (words >> key >> value && (key == "RssAnon:" || key == "RssShmem:"))
            resident += value;
    }
    if (resident == 0)
        throw std::runtime_error("/proc/self/status does not state the resident memory");
    return resident;
}
#endif

}  // namespace

Resources measureResources()
{
    Resources now;
    now.threads = entriesOf("/proc/self/task");
    now.descriptors = entriesOf("/proc/self/fd") - 1;  // without the one that reads the folder
#ifdef NUBRIX_SOAK_SANITIZED
    now.heapKib = static_cast<unsigned long>(__sanitizer_get_current_allocated_bytes() / 1024);
#else
    const struct mallinfo2 heap = ::mallinfo2();
    now.heapKib = static_cast<unsigned long>((heap.uordblks + heap.hblkhd) / 1024);
    now.residentKib = residentKib();
#endif
    return now;
}

}  // namespace nubrix::soak
