// How drivers hand out lists of records.
#pragma once

#include <utility>

#include "common/Report.h"

namespace nubrix {

/// Fills as many records as there is room for, one for each entry, by `describe(entry, record)`.
/// `count` holds the room on entry and tells how many there are: -4 when it or the records are
/// null. Thread-safe.
template <class Record, class Entries, class Describe>
int listRecords(const Entries &entries, Describe describe, Record *records, unsigned int *count)
{
    if (records == nullptr || count == nullptr)
        return kBadArgument;
    const unsigned int room = std::exchange(*count, 0U);
    for (const auto &entry : entries) {
        if (*count == room)
            break;
        describe(entry, records[(*count)++]);
    }
    return kDone;
}

}  // namespace nubrix
