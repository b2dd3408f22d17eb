// Shows which virtual operation was called through which place in the table.
#pragma once

#include <string>

#include "tests/fakes/VtableCall.h"

namespace nubrix {

/// The operation that was called last, with its arguments.
inline std::string g_called;

/// What every recorded operation returns.
inline constexpr int kAnswer = 4711;

/// What a recorded operation does.
inline int recordCall(const std::string &operation)
{
    g_called = operation;
    return kAnswer;
}

/// Calls a slot and gives what was called, with the result checked.
template <class... Arguments>
std::string called(void *object, std::size_t slot, Arguments... arguments)
{
    g_called.clear();
    const int answer = callSlot<int, Arguments...>(object, slot, arguments...);
    return answer == kAnswer ? g_called : g_called + " but not its result";
}

}  // namespace nubrix
