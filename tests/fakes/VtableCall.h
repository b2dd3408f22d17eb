// Calls a virtual operation by its place in the table, as code built elsewhere does.
#pragma once

#include <cstddef>

namespace nubrix {

/// `index` counts both destructors (0 and 1 where they come first). The arguments have the exact
/// types of the operation: callSlot<int, NubrixStream *>(context, 47, stream).
template <class Result, class... Arguments>
Result callSlot(void *object, std::size_t index, Arguments... arguments)
{
    void *const *const table = *static_cast<void *const **>(object);
    const auto operation = reinterpret_cast<Result (*)(void *, Arguments...)>(table[index]);
    return operation(object, arguments...);
}

}  // namespace nubrix
