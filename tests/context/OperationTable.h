// Every operation of the context with what it answers where it must refuse.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "nubrix/nubrix.h"
#include "tests/fakes/Outcome.h"

namespace nubrix {

/// The handles that an operation is called with.
struct Handles {
    NubrixDevice *device;
    NubrixStream *stream;
    NubrixRecord *recorder;
};

struct Operation {
    std::string name;
    std::function<int(NubrixBaseContext &, const Handles &)> call;  // a pointer: 1, null: 0
    Outcome uninitialized;
    std::optional<Outcome> unknownDevice = {};  // none: takes no such handle
    std::optional<Outcome> unknownStream = {};
    std::optional<Outcome> unknownRecorder = {};
    bool takesApiLock = false;  // so it is refused on a callback's thread while destroy runs
};

/// In the order of the interface.
std::vector<Operation> operationTable();

inline void PrintTo(const Operation &operation, std::ostream *stream)
{
    *stream << operation.name;
}

}  // namespace nubrix
