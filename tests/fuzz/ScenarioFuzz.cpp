// Any text at all as a scenario file: what is accepted keeps its limits, what is not has a place.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>

#include "tests/fuzz/FuzzTarget.h"
#include "virtual/Scenario.h"

namespace nubrix::virtual_camera {
namespace {

constexpr std::uint32_t kMost = 1000000000;
constexpr std::uint32_t kMostBytes = 16 << 20;
constexpr const char *kFolder = "/scenarios";

void checkFault(const Fault &fault)
{
    const auto isAtMost = [](const std::optional<std::uint32_t> &value, std::uint32_t most) {
        return !value || *value <= most;
    };
    const auto isStream = [](unsigned int type) {
        return type == 0 || type == 1 || type == 2 || type == 4 || type == 32;
    };
    require(isAtMost(fault.atFrame, kMost) && isAtMost(fault.atMs, kMost) &&
                isAtMost(fault.afterMs, kMost),
            "a moment has a limit");
    require((fault.atFrame ? 1 : 0) + (fault.atMs ? 1 : 0) + (fault.afterMs ? 1 : 0) <= 1,
            "a fault has one moment");
    require(!fault.afterMs || fault.type == FaultType::kPlug, "only a plug follows an unplug");
    require(fault.count >= 1 && fault.attempt >= 1, "a fault happens at least once");
    require(fault.count <= kMost || fault.type == FaultType::kBufferSizeChange,
            "a count has a limit");
    require(isAtMost(fault.duration, kMost) && fault.duration != 0U, "a duration has limits");
    require(isAtMost(fault.bytes, kMostBytes), "a size has a limit");
    require(isStream(fault.streamType) && isStream(fault.asType), "a stream is one of four");
    require(fault.status != 0, "a status that fails is not 0");
    require((fault.jumpMs != 0) == (fault.type == FaultType::kClockJump), "a clock jump jumps");
}

void checkCamera(const CameraSetup &camera, std::set<std::string> &serials)
{
    const auto isAllowed = [](char c) {
        return std::string_view("-_.").find(c) != std::string_view::npos ||
               (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    };
    require(!camera.serial.empty() && camera.serial.size() <= 32 &&
                std::all_of(camera.serial.begin(), camera.serial.end(), isAllowed),
            "a serial number is short and plain");
    require(serials.insert(camera.serial).second, "no two cameras have one serial number");
    for (const Fault &fault : camera.faults)
        checkFault(fault);
}

void checkImages(const ImagesSetup &images, int lines)
{
    require(images.folder.size() > 1 && images.folder.front() == '/', "a folder is absolute");
    require(images.folderLine >= 1 && images.folderLine <= lines, "a folder has a line");
    require(images.depthUnitMm >= 0.000001 && images.depthUnitMm <= 1000.0,
            "a depth unit has limits");
    if (!images.intrinsics)
        return;
    const CameraIntrinsics &lens = *images.intrinsics;
    require(lens.fx > 0 && lens.fx <= 100000 && lens.fy > 0 && lens.fy <= 100000,
            "a focal length has limits");
    require(lens.cx >= -100000 && lens.cx <= 100000 && lens.cy >= -100000 && lens.cy <= 100000,
            "a principal point has limits");
}

void check(const Scenario &scenario, int lines)
{
    require(scenario.cameras.size() <= 16, "there are no more than 16 cameras");
    require(scenario.frameRate >= 1 && scenario.frameRate <= 120, "a frame rate has limits");
    std::set<std::string> serials;
    for (const CameraSetup &camera : scenario.cameras)
        checkCamera(camera, serials);
    if (scenario.images)
        checkImages(*scenario.images, lines);
}

void check(const ScenarioError &error, int lines)
{
    require(!error.message.empty(), "an error has a message");
    require(error.line >= 1 && error.line <= lines, "an error has a line of the file");
    require(error.message != "the key is there twice" || !error.key.empty(),
            "a key that is there twice is named");
    const std::string text = error.text("file.json");
    require(text.rfind("file.json:" + std::to_string(error.line) + ": ", 0) == 0,
            "an error begins with its place");
    require(std::none_of(text.begin(), text.end(),
                         [](char c) { return static_cast<unsigned char>(c) < 0x20; }),
            "an error is one line");
}

bool isSame(const Scenario &one, const Scenario &other)
{
    const auto isSameCamera = [](const CameraSetup &a, const CameraSetup &b) {
        return a.serial == b.serial && a.plugged == b.plugged && a.faults.size() == b.faults.size();
    };
    return std::equal(one.cameras.begin(), one.cameras.end(), other.cameras.begin(),
                      other.cameras.end(), isSameCamera) &&
           one.pacing == other.pacing && one.frameRate == other.frameRate &&
           one.images.has_value() == other.images.has_value();
}

/// An empty line before the text moves every place by one and changes nothing else.
void checkShifted(const std::variant<Scenario, ScenarioError> &parsed, const std::string &text)
{
    const auto shifted = parseScenario("\n" + text, kFolder);
    require(shifted.index() == parsed.index(), "an empty line makes no difference");
    if (const auto *scenario = std::get_if<Scenario>(&parsed)) {
        require(isSame(*scenario, std::get<Scenario>(shifted)), "an empty line changes nothing");
        return;
    }
    const auto &error = std::get<ScenarioError>(parsed);
    const auto &moved = std::get<ScenarioError>(shifted);
    require(moved.key == error.key && moved.line == error.line + 1,
            "an empty line moves the place of an error");
}

}  // namespace
}  // namespace nubrix::virtual_camera

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t sizeBytes)
{
    using namespace nubrix;
    using namespace nubrix::virtual_camera;
    const std::string text(reinterpret_cast<const char *>(data), sizeBytes);
    const auto lines = 1 + static_cast<int>(std::count(text.begin(), text.end(), '\n'));
    const auto parsed = parseScenario(text, kFolder);
    std::visit([lines](const auto &result) { check(result, lines); }, parsed);
    // A text of nothing has its one line anyway; a byte order mark is one at the beginning only.
    if (!text.empty() && text.front() != '\xef')
        checkShifted(parsed, text);
    return 0;
}
