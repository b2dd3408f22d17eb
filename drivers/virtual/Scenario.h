// The content of a scenario file: the cameras, their frames and their faults.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "common/CameraProperties.h"
#include "virtual/FaultPlan.h"

namespace nubrix::virtual_camera {

enum class Pacing {
    kRealtime,  ///< at the frame rate; a frame is dropped when the pool is exhausted
    kFree,      ///< the next frame when everybody has released the last one
};

struct CameraSetup {
    std::string serial;
    bool plugged = true;  ///< at the start
    std::vector<Fault> faults;
};

struct ImagesSetup {
    std::string folder;  ///< absolute, or relative to the working folder
    int folderLine = 0;  ///< line of the scenario
    bool loop = true;
    double depthUnitMm = 1.0;
    std::optional<CameraIntrinsics> intrinsics;
};

struct RecordingSetup {
    std::string file;  ///< absolute, or relative to the working folder
    int fileLine = 0;  ///< line of the scenario
    bool loop = false;
    double depthUnitMm = 0.0625;
    std::optional<CameraIntrinsics> intrinsics;
};

struct Scenario {
    std::vector<CameraSetup> cameras = {{"VIRT0001", true, {}}};
    Pacing pacing = Pacing::kRealtime;
    std::optional<ImagesSetup> images;  ///< at most one of these two; neither: the scene
    std::optional<RecordingSetup> recording;
    int frameRate = 30;
};

struct ScenarioError {
    std::string key;  ///< e.g. faults[2].at_frame; empty when the text is not JSON
    int line = 0;     ///< from 1; 0 when the file itself cannot be read
    std::string message;

    /// One line: file:line: key: message
    std::string text(const std::string &file) const;
};

/// Parses a scenario; relative paths in it start from `folder`. A pure function of its arguments:
/// it does not access the files that the scenario names.
std::variant<Scenario, ScenarioError> parseScenario(const std::string &text,
                                                    const std::string &folder);

/// Reads a file of at most 1 MiB. Relative paths in it start from its own folder. Thread-safe.
std::variant<Scenario, ScenarioError> readScenarioFile(const std::string &path);

}  // namespace nubrix::virtual_camera
