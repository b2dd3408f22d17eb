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

#pragma GCC visibility pop
