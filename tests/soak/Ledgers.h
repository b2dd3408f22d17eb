// Where the frames of all streams of a soak run went.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "nubrix/ledger.h"

namespace nubrix::soak {

/// Adds up the ledgers of streams and checks their equations. Thread-safe.
class Ledgers {
public:
    /// Counts a stream that stays open as it is at the moment of each sum.
    void keep(NubrixStream *stream);
    /// Counts a stream for the last time, just before it is closed. Returns what is wrong with its
    /// ledger, empty for nothing.
    std::string close(NubrixStream *stream);
    /// The same for a stream that is closed, with its last ledger.
    std::string close(const NubrixStreamLedger &last);
    /// Of all streams so far. `problem` is appended to.
    NubrixStreamLedger sum(std::string &problem) const;

private:
    mutable std::mutex m_lock;  // guards what follows
    NubrixStreamLedger m_closed = {};
    std::vector<NubrixStream *> m_kept;
};

}  // namespace nubrix::soak
