#include "stream/HeldFrames.h"

#include <algorithm>
#include <new>

namespace nubrix {

void HeldFrames::add(const void *frame, Account &account, std::int64_t now)
{
    const MutexLock guard(m_mutex);
    try {
        m_holds.push_back({frame, &account, now});
    } catch (const std::bad_alloc &) {
        ++account.released;
    }
}

void HeldFrames::addReleased(Account &account)
{
    const MutexLock guard(m_mutex);
    ++account.released;
}

void HeldFrames::remove(const void *frame)
{
    const MutexLock guard(m_mutex);
    const auto found = std::find_if(m_holds.begin(), m_holds.end(),
                                    [&](const Hold &hold) { return hold.frame == frame; });
    if (found == m_holds.end())
        return;
    ++found->account->released;
    m_holds.erase(found);
}

void HeldFrames::forget(const Account &account)
{
    const MutexLock guard(m_mutex);
    std::erase_if(m_holds, [&](const Hold &hold) { return hold.account == &account; });
}

void HeldFrames::fill(const Account &account, std::int64_t now, NubrixStreamLedger &ledger)
{
    const MutexLock guard(m_mutex);
    ledger.released = account.released;
    ledger.held = 0;
    ledger.longestHeldMicroseconds = 0;
    for (const Hold &hold : m_holds) {
        if (hold.account == &account && ledger.held++ == 0)
            ledger.longestHeldMicroseconds = static_cast<std::uint64_t>(now - hold.since);
    }
}

}  // namespace nubrix
