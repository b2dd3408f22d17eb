// nubrix stream: lets streams of a camera run and tells how they do.
#pragma once

#include <string>
#include <vector>

#include "Camera.h"
#include "Command.h"
#include "StreamRun.h"
#include "StreamSelection.h"
#include "StreamTable.h"

namespace nubrix {

class StreamCommand final : public Command {
public:
    explicit StreamCommand(CLI::App &parent);
    void run() override;

private:
    struct Result {
        std::vector<StreamRow> rows;
        std::vector<std::vector<std::string>> saved;  // the paths of each row
        std::string problem;                          // empty if all went well
    };

    StreamRun::Readers openStreams(Camera &camera, const StopSignal &stop) const;
    Result stream(Camera &camera, const StopSignal &stop) const;
    void save(const StreamRun::Readers &readers, Result &result) const;
    void reportJson(const Result &result) const;
    static void reportText(const Result &result);
    static std::vector<StreamRow> rowsOf(const StreamRun::Readers &readers);

    std::string m_uri;
    StreamSelection m_selection;
    bool m_byCallback = false;
    bool m_byPolling = false;
    std::string m_folder;  // empty: save nothing
};

}  // namespace nubrix
