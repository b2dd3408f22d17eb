#include "output/LedgerReport.h"

#include <nlohmann/json.hpp>

namespace nubrix::tool {

nlohmann::ordered_json ledgerJson(const NubrixStreamLedger &ledger)
{
    using Json = nlohmann::ordered_json;
    Json json = {{"handed_over", ledger.handedOver},
                 {"delivered", ledger.delivered},
                 {"read", ledger.read},
                 {"replaced", ledger.replaced},
                 {"used_in_place", ledger.usedInPlace},
                 {"discarded", ledger.discarded},
                 {"queued", ledger.queued},
                 {"released", ledger.released},
                 {"held", ledger.held},
                 {"longest_held_us", ledger.longestHeldMicroseconds},
                 {"callback_us", ledger.callbackMicroseconds},
                 {"to_recorders", ledger.toRecorders},
                 {"recorded", ledger.recorded},
                 {"refused", ledger.refused},
                 {"unclaimed", ledger.unclaimed},
                 {"driver", nullptr}};
    if (ledger.driverKnows != 0) {
        json["driver"] = {{"lost_on_wire", ledger.lostOnWire},
                          {"damaged", ledger.damaged},
                          {"flagged", ledger.flagged},
                          {"dropped_while_slow", ledger.droppedWhileSlow}};
    }
    return json;
}

std::string lossText(const std::vector<std::string> &losses)
{
    std::string text;
    for (const std::string &line : losses)
        text += "  " + line + '\n';
    return text;
}

std::vector<std::string> lossesOf(const client::Stream &stream)
{
    std::vector<std::string> lines = stream.losses();
    for (std::string &line : lines)
        line = std::string(client::name(stream.type())) + ": " + line;
    return lines;
}

}  // namespace nubrix::tool
