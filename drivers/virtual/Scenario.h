// What a scenario file says: the cameras, their pictures and what goes wrong.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "virtual/PinholeCamera.h"

namespace nubrix {

enum class Pacing {
    kRealtime,  ///< at the frame rate; a frame that finds no room is lost
    kFree,      ///< the next frame once everybody has given back the last one
};

enum class FaultType {
    kUnplug,
    kPlug,
    kStall,
    kDrop,
    kShortFrame,
    kEmptyFrame,
    kWrongType,
    kClockJump,
    kKeepAliveFail,
    kOpenFail,
    kStartFail,
    kBufferSizeChange,
    kUpgradeCut,
};

/// One fault of one camera. README.md tells which members go with which type.
struct Fault {
    FaultType type = FaultType::kDrop;
    unsigned int streamType = 0;            ///< 0: every stream
    std::optional<std::uint32_t> atFrame;   ///< frame index
    std::optional<std::uint32_t> atMs;      ///< since the driver was initialised
    std::optional<std::uint32_t> afterMs;   ///< plug: since the camera was unplugged
    std::uint32_t count = 1;                ///< frames or attempts
    std::optional<std::uint32_t> duration;  ///< milliseconds; empty: for ever
    std::optional<std::uint32_t> bytes;     ///< short_frame, buffer_size_change
    std::uint32_t attempt = 1;              ///< the first attempt that it concerns, from 1
    int status = -1;                        ///< open_fail, start_fail
    int jumpMs = 0;                         ///< clock_jump
    unsigned int asType = 0;                ///< wrong_type; 0: depth, and colour for depth
    std::uint32_t atBlock = 0;              ///< upgrade_cut: from 0
};

struct CameraSetup {
    std::string serial;
    bool plugged = true;  ///< at the start
    std::vector<Fault> faults;
};

struct ImagesSetup {
    std::string folder;  ///< absolute, or relative to the working folder
    int folderLine = 0;  ///< where the scenario names it
    bool loop = true;
    double depthUnitMm = 1.0;
    std::optional<Intrinsics> intrinsics;
};

struct RecordingSetup {
    std::string file;  ///< absolute, or relative to the working folder
    int fileLine = 0;  ///< where the scenario names it
    bool loop = false;
    double depthUnitMm = 0.0625;
    std::optional<Intrinsics> intrinsics;
};

struct Scenario {
    std::vector<CameraSetup> cameras = {{"VIRT0001", true, {}}};
    Pacing pacing = Pacing::kRealtime;
    std::optional<ImagesSetup> images;  ///< at most one of these two; neither: the scene
    std::optional<RecordingSetup> recording;
    int frameRate = 30;
};

struct ScenarioError {
    std::string key;  ///< e.g. faults[2].at_frame; empty when the text is no JSON
    int line = 0;     ///< from 1; 0 when the file itself cannot be read
    std::string message;

    /// One line: file:line: key: message
    std::string text(const std::string &file) const;
};

/// Reads a scenario; `folder` is what relative paths in it start from. A pure function of its
/// arguments: files and folders that it names are not looked at.
std::variant<Scenario, ScenarioError> parseScenario(const std::string &text,
                                                    const std::string &folder);

}  // namespace nubrix
