// The operations that the stress test calls, and what each may return.
#pragma once

#include <functional>
#include <vector>

#include "tests/stress/StressWorld.h"

namespace nubrix::stress {

/// Scenario faults answer with statuses that nothing else has.
constexpr int kOpenFault = -21;
constexpr int kStartFault = -22;

/// Who calls: a thread of its own, or a callback with what it was given.
struct Caller {
    World &world;
    Origin origin;
    Random &random;
    NubrixStream *ownStream = nullptr;  // of a frame callback, as is the next
    Receiver *ownReceiver = nullptr;
};

struct Operation {
    const char *name;
    unsigned int weight;             // how often it is called, compared with others
    std::vector<int> initialized;    // the statuses that an initialized context may give
    std::vector<int> uninitialized;  // and one that is not; while that changes, either
    std::function<int(NubrixBaseContext *, Caller &)> call;
};

/// Calls one of the operations that are switched on and checks what it returns.
void callSomething(Caller &caller);
/// Calls one operation by its name.
int callOperation(const char *name, Caller &caller);

}  // namespace nubrix::stress
