#include "tests/soak/Resources.h"

#include <malloc.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

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
unsigned long residentKib()
{
    unsigned long pages = 0;
    unsigned long resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    if (resident == 0)
        throw std::runtime_error("/proc/self/statm cannot be read");
    return resident * (static_cast<unsigned long>(::sysconf(_SC_PAGESIZE)) / 1024);
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
