#include "tests/soak/Ledgers.h"

#include <algorithm>
#include <cinttypes>

namespace nubrix::soak {

namespace {

using Ledger = NubrixStreamLedger;

/// What is wrong with a ledger, empty for nothing.
std::string problemOf(const Ledger &ledger)
{
    std::string problem;
    if (ledger.handedOver != ledger.delivered + ledger.read + ledger.replaced + ledger.usedInPlace +
                                 ledger.discarded + ledger.queued) {
        problem += std::to_string(ledger.handedOver) + " frames were handed over, but " +
                   std::to_string(ledger.delivered) + " delivered, " + std::to_string(ledger.read) +
                   " read, " + std::to_string(ledger.replaced) + " replaced, " +
                   std::to_string(ledger.usedInPlace) + " used in place, " +
                   std::to_string(ledger.discarded) + " discarded, " +
                   std::to_string(ledger.queued) + " queued. ";
    }
    if (ledger.held != ledger.delivered + ledger.read - ledger.released)
        problem +=
            std::to_string(ledger.held) + " frames are held, not delivered + read - released. ";
    return problem;
}

/// The ledger of an open stream; a failure is appended to `problem`.
Ledger read(NubrixStream *stream, std::string &problem)
{
    Ledger ledger = {};
    ledger.size = sizeof ledger;
    if (const int status = nubrixStreamLedger(stream, &ledger))
        problem += "nubrixStreamLedger returned " + std::to_string(status) + ". ";
    return ledger;
}

void add(Ledger &sum, const Ledger &one)
{
    for (auto member : {&Ledger::handedOver, &Ledger::delivered, &Ledger::read, &Ledger::replaced,
                        &Ledger::usedInPlace, &Ledger::discarded, &Ledger::queued, &Ledger::held,
                        &Ledger::refused})
        sum.*member += one.*member;
}

}  // namespace

void Ledgers::keep(NubrixStream *stream)
{
    const std::lock_guard<std::mutex> guard(m_lock);
    m_kept.push_back(stream);
}

std::string Ledgers::close(NubrixStream *stream)
{
    std::string problem;
    const Ledger last = read(stream, problem);
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        std::erase(m_kept, stream);
    }
    return problem + close(last);
}

std::string Ledgers::close(const NubrixStreamLedger &last)
{
    Ledger ledger = last;
    // Closing discards what waits; what the application still holds it returns later.
    ledger.discarded += ledger.queued;
    ledger.queued = ledger.held = 0;
    const std::lock_guard<std::mutex> guard(m_lock);
    add(m_closed, ledger);
    return problemOf(last);
}

NubrixStreamLedger Ledgers::sum(std::string &problem) const
{
    const std::lock_guard<std::mutex> guard(m_lock);
    Ledger sum = m_closed;
    for (NubrixStream *stream : m_kept) {
        const Ledger ledger = read(stream, problem);
        problem += problemOf(ledger);
        add(sum, ledger);
    }
    return sum;
}

}  // namespace nubrix::soak
