// nubrix record: records streams of a camera into a file.
#pragma once

#include <string>
#include <vector>

#include "Camera.h"
#include "Command.h"
#include "RecordSummary.h"
#include "StopSignal.h"
#include "StreamSelection.h"

namespace nubrix {

class GrowingRecord;
class Recording;

class RecordCommand final : public Command {
public:
    explicit RecordCommand(CLI::App &parent);
    void run() override;

private:
    /// Returns why it ended early, empty if it did not; and notes the frames that it has seen.
    std::string record(Camera &camera, const std::vector<StreamKind> &kinds, const StopSignal &stop,
                       RecordCount &seen) const;
    void watch(Camera &camera, Recording &recording, GrowingRecord &file,
               const StopSignal &stop) const;
    void report(const RecordSummary &summary, const std::string &problem) const;

    StreamSelection m_selection;
    std::string m_uri;
    std::string m_out;
};

}  // namespace nubrix
