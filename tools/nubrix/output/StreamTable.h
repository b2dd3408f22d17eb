// The figures of streams as text: a table that is redrawn, and a summary.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>
#include "StreamStatistics.h"

namespace nubrix::tool {

struct StreamRow {
    std::string name;
    StreamFigures figures;
};

/// A table on standard output. All calls need the same streams in the same order.
///
/// Not thread-safe.
class StreamTable {
public:
    /// Draws the table over the previous one, with the frames/s of about the last second. Needs a
    /// terminal. `nowUs` is monotonic time.
    void drawLive(const std::vector<StreamRow> &rows, std::uint64_t nowUs);

    /// Removes the table that drawLive has drawn.
    void clearLive();

    /// The table with the frames/s of the total time.
    static std::string summary(const std::vector<StreamRow> &rows);

private:
    struct Snapshot {
        std::uint64_t timeUs;
        std::vector<StreamRow> rows;
    };

    std::deque<Snapshot> m_past;  // the last second
    std::size_t m_drawnLines = 0;
};

}  // namespace nubrix::tool
