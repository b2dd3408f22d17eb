// Where the frames of a stream went.
#include <algorithm>
#include <cstring>

#include "context/ContextGuards.h"

extern "C" {
extern std::atomic<nubrix::Context *> g_nubrixContext;
}

namespace nubrix {

namespace {

constexpr unsigned int kLeastSize = 16;

void addCounters(const NubrixStreamCounters &counters, NubrixStreamLedger &ledger)
{
    ledger.driverKnows = 1;
    ledger.lostOnWire = counters.missed;
    ledger.damaged = counters.unusable;
    ledger.flagged = counters.flagged;
    ledger.droppedWhileSlow = counters.held;
}

// Fills a record of the caller's size, which may be older or newer than this library.
void copyLedger(NubrixStreamLedger from, NubrixStreamLedger *to)
{
    const unsigned int capacity = to->size;
    constexpr auto kOwnSize = static_cast<unsigned int>(sizeof(from));
    from.size = std::min(capacity, kOwnSize) / 8 * 8;
    std::memset(to, 0, capacity);
    std::memcpy(to, &from, from.size);
}

}  // namespace

int Context::streamLedger(NubrixStream *handle, NubrixStreamLedger *ledger)
{
    // Under the lock: drivers are asked for properties one call at a time.
    return underLock([&] {
        if (!ledger || ledger->size < kLeastSize)
            return -4;
        const std::shared_ptr<VideoStream> stream = m_streams.find(handle);
        if (!stream)
            return refuseStream();
        NubrixStreamLedger own = stream->ledger();
        NubrixStreamCounters counters = {};
        if (stream->device().getStreamCounters(stream->getFrameType(), counters))
            addCounters(counters, own);
        copyLedger(own, ledger);
        return 0;
    });
}

}  // namespace nubrix

int nubrixStreamLedger(NubrixStream *stream, NubrixStreamLedger *ledger)
{
    nubrix::Context *const context = g_nubrixContext;
    return context ? context->streamLedger(stream, ledger) : nubrix::refuseUninitialized();
}
