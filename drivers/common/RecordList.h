// How drivers hand out lists of records.
#pragma once

#include <exception>
#include <utility>

#include "common/Report.h"

namespace nubrix {

/// Fills as many records as there is space for, one for each of the entries that `look` returns, by
/// `describe(entry, record)`. `count` holds the capacity on entry and returns the number of filled
/// records, 0 whenever it fails: -4 when it or the records are null, -1 when one of the two throws.
/// Thread-safe.
template <class Look, class Describe, class Record>
int listRecords(Look look, Describe describe, Record *records, unsigned int *count)
{
    if (count == nullptr)
        return kBadArgument;
    const unsigned int room = std::exchange(*count, 0U);
    if (records == nullptr)
        return kBadArgument;
    try {
        unsigned int filled = 0;
        for (const auto &entry : look()) {
            if (filled == room)
                break;
            describe(entry, records[filled++]);
        }
        *count = filled;
        return kDone;
    } catch (const std::exception &) {
        return kFailed;
    }
}

}  // namespace nubrix
