// Where the frames of a stream went, as 'nubrix stream' and 'nubrix record' report it.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "nubrix/client/stream.h"

namespace nubrix::tool {

/// All figures of a ledger; "driver" is null when the driver does not count.
nlohmann::ordered_json ledgerJson(const NubrixStreamLedger &ledger);

/// An indented line for each loss.
std::string lossText(const std::vector<std::string> &losses);

/// What a stream has lost, for each cause a line that begins with its type.
std::vector<std::string> lossesOf(const client::Stream &stream);

}  // namespace nubrix::tool
