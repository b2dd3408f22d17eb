// The handles that operations of the stress test are called with.
#pragma once

#include "tests/stress/StressOperations.h"

namespace nubrix::stress {

// Live, stale or foreign ones; in a callback also its own.
NubrixDevice *device(Caller &caller);
NubrixDevice *deviceToClose(Caller &caller);
StreamEntry stream(Caller &caller);
NubrixRecord *recorder(Caller &caller);

/// A stream is gone. From another stream's callback that is not awaited: the two may be closing
/// each other.
void noteGone(Caller &caller, const StreamEntry &entry);

}  // namespace nubrix::stress
