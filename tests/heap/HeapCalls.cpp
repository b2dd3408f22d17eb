#include "tests/heap/HeapCalls.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace {

std::atomic<unsigned long> g_calls{0};

void count()
{
    g_calls.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

unsigned long nubrix::heapCalls()
{
    return g_calls;
}

// The C library's own, under the names by which it offers them to replacements like these.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void *__libc_memalign(size_t, size_t);

// Visible, so that the shared libraries of the process call these too.
#pragma GCC visibility push(default)

void *malloc(size_t size) noexcept
{
    count();
    return __libc_malloc(size);
}

void *calloc(size_t number, size_t size) noexcept
{
    count();
    return __libc_calloc(number, size);
}

void *realloc(void *memory, size_t size) noexcept
{
    count();
    return __libc_realloc(memory, size);
}

void *memalign(size_t alignment, size_t size) noexcept
{
    count();
    return __libc_memalign(alignment, size);
}

void *aligned_alloc(size_t alignment, size_t size) noexcept
{
    count();
    return __libc_memalign(alignment, size);
}

int posix_memalign(void **memory, size_t alignment, size_t size) noexcept
{
    count();
    *memory = __libc_memalign(alignment, size);
    return *memory ? 0 : ENOMEM;
}

#pragma GCC visibility pop
}
// NOLINTEND(bugprone-reserved-identifier)
