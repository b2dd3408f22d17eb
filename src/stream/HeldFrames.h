// Which frames of a pool the application holds, by the stream that handed them out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/Mutex.h"
#include "nubrix/ledger.h"

namespace nubrix {

/// A frame that several streams have handed out is held once for each; the application does not
/// state which one it releases, so the first one is taken. Times in microseconds of the monotonic
/// clock. Thread-safe.
class HeldFrames final {
public:
    /// Of one stream. Guarded by the mutex of the HeldFrames.
    struct Account {
        std::uint64_t released = 0;
    };

    HeldFrames() { m_holds.reserve(kExpected); }
    HeldFrames(const HeldFrames &) = delete;
    HeldFrames &operator=(const HeldFrames &) = delete;

    /// A stream hands out a frame. Without memory it counts as released at once.
    void add(const void *frame, Account &account, std::int64_t now);
    /// A stream hands out a frame whose release will not be seen: it counts as released at once.
    void addReleased(Account &account);
    /// The application releases a frame. Does nothing for one that no stream has handed out.
    void remove(const void *frame);
    /// The stream is about to be destroyed: what it handed out is not counted any more.
    void forget(const Account &account);
    /// Fills in what the application has released and holds of a stream.
    void fill(const Account &account, std::int64_t now, NubrixStreamLedger &ledger);

private:
    static constexpr std::size_t kExpected =
        32;  // three streams that hand out all frames of a pool

    struct Hold {
        const void *frame;
        Account *account;
        std::int64_t since;
    };

    Mutex m_mutex;
    std::vector<Hold> m_holds NUBRIX_GUARDED_BY(m_mutex);  // the oldest of a stream first
};

}  // namespace nubrix
