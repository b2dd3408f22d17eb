// nubrix stream: lets streams of a camera run and tells how they do.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Camera.h"
#include "Command.h"
#include "StreamRun.h"
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

    std::vector<StreamKind> chooseKinds(Camera &camera) const;
    void setModes(Camera &camera, const std::vector<StreamKind> &kinds) const;
    StreamRun::Readers openStreams(Camera &camera, const StopSignal &stop) const;
    Result stream(Camera &camera, const StopSignal &stop) const;
    void save(const StreamRun::Readers &readers, Result &result) const;
    void reportJson(const Result &result) const;
    static void reportText(const Result &result);
    static std::vector<StreamRow> rowsOf(const StreamRun::Readers &readers);

    std::string m_uri;
    std::string m_streams;  // empty: those of the usual three that the camera has
    std::string m_mode;     // empty: as it is
    double m_seconds = 0;   // 0: no limit
    std::uint64_t m_frames = 0;
    bool m_byCallback = false;
    bool m_byPolling = false;
    std::string m_folder;  // empty: save nothing
};

}  // namespace nubrix
