#include "tests/fakes/FailingNew.h"

#include <cstdlib>

namespace {

constexpr int kNever = -1;

thread_local int t_left = kNever;  // calls before the one that fails
thread_local bool t_failed = false;

}  // namespace

nubrix::FailingNew::FailingNew(int index)
{
    t_failed = false;
    t_left = index;
}

nubrix::FailingNew::~FailingNew()
{
    t_left = kNever;
}

bool nubrix::FailingNew::hasFailed() const
{
    return t_failed;
}

// Visible, so that the shared libraries of the process call these too.
#pragma GCC visibility push(default)

void *operator new(std::size_t size)
{
    if (t_left != kNever && t_left-- == 0) {
        t_failed = true;
        throw std::bad_alloc();
    }
    if (void *const memory = std::malloc(size != 0 ? size : 1))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}

// Those of arrays call the ones above by themselves, but not where a sanitizer has its own.
void *operator new[](std::size_t size)
{
    return operator new(size);
}

void *operator new[](std::size_t size, const std::nothrow_t &) noexcept
{
    try {
        return operator new(size);
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

void operator delete[](void *memory) noexcept
{
    operator delete(memory);
}

void operator delete[](void *memory, std::size_t) noexcept
{
    operator delete(memory);
}

#pragma GCC visibility pop
