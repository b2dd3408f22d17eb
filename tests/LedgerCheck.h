// Whether the ledger of a stream accounts for every frame.
#pragma once

#include <string>

#include "nubrix/ledger.h"

namespace nubrix {

/// What does not fit together in a ledger, with its figures; empty when every frame is accounted
/// for.
inline std::string ledgerFault(const NubrixStreamLedger &ledger)
{
    const unsigned long long gone = ledger.delivered + ledger.read + ledger.replaced +
                                    ledger.usedInPlace + ledger.discarded + ledger.queued;
    std::string fault;
    if (ledger.handedOver != gone)
        fault = "a frame has vanished";
    else if (ledger.held != ledger.delivered + ledger.read - ledger.released)
        fault = "a frame is neither held nor released";
    else if (ledger.recorded > ledger.toRecorders || ledger.queued > 1)
        fault = "there are more frames than arrived";
    if (fault.empty())
        return fault;
    const auto add = [&](const char *name, unsigned long long value) {
        fault += std::string(", ") + name + " " + std::to_string(value);
    };
    add("handedOver", ledger.handedOver);
    add("delivered", ledger.delivered);
    add("read", ledger.read);
    add("replaced", ledger.replaced);
    add("usedInPlace", ledger.usedInPlace);
    add("discarded", ledger.discarded);
    add("queued", ledger.queued);
    add("released", ledger.released);
    add("held", ledger.held);
    add("toRecorders", ledger.toRecorders);
    add("recorded", ledger.recorded);
    return fault;
}

}  // namespace nubrix
