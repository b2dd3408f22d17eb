#include "virtual/Scenario.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "common/Text.h"
#include "virtual/JsonDocument.h"

namespace nubrix::virtual_camera {

namespace {

constexpr std::size_t kLongest = 1U << 20;

struct Closer {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

constexpr std::int64_t kMaxCameras = 16;
constexpr std::size_t kLongestSerial = 32;

std::string serialOf(std::size_t ordinal)
{
    char serial[16];
    std::snprintf(serial, sizeof serial, "VIRT%04u", static_cast<unsigned int>(ordinal));
    return serial;
}

std::string readSerial(const JsonValue &value)
{
    std::string serial = value.text();
    const auto isAllowed = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_' || c == '.';
    };
    if (serial.empty() || serial.size() > kLongestSerial ||
        !std::all_of(serial.begin(), serial.end(), isAllowed))
        value.fail("must be 1 to 32 letters, digits, '-', '_' or '.'");
    return serial;
}

/// A serial number, or an object.
CameraSetup readCamera(const JsonValue &value, std::size_t ordinal)
{
    CameraSetup camera;
    camera.serial = serialOf(ordinal);
    if (value.isString()) {
        camera.serial = readSerial(value);
        return camera;
    }
    if (!value.isObject())
        value.fail("must be a serial number or an object");
    value.requireKeysAmong({"serial", "plugged", "faults"});
    if (const auto serial = value.member("serial"))
        camera.serial = readSerial(*serial);
    if (const auto plugged = value.member("plugged"))
        camera.plugged = plugged->flag();
    if (const auto faults = value.member("faults"))
        camera.faults = readFaults(*faults);
    return camera;
}

/// A number of cameras, or a list.
std::vector<CameraSetup> readCameras(const JsonValue &value)
{
    std::vector<CameraSetup> cameras;
    if (value.isInteger()) {
        const auto count = static_cast<std::size_t>(value.integer(0, kMaxCameras));
        while (cameras.size() < count)
            cameras.push_back({serialOf(cameras.size() + 1), true, {}});
        return cameras;
    }
    for (const JsonValue &item : value.items()) {
        if (cameras.size() == static_cast<std::size_t>(kMaxCameras))
            value.fail("there may be no more than 16 cameras");
        CameraSetup camera = readCamera(item, cameras.size() + 1);
        for (const CameraSetup &other : cameras) {
            if (other.serial == camera.serial)
                item.fail("there is another camera " + camera.serial);
        }
        cameras.push_back(std::move(camera));
    }
    return cameras;
}

/// One of two texts: true for the first.
bool readChoice(const JsonValue &value, const std::string &first, const std::string &second)
{
    const std::string text = value.text();
    if (text != first && text != second)
        value.fail("must be \"" + first + "\" or \"" + second + "\"");
    return text == first;
}

CameraIntrinsics readIntrinsics(const JsonValue &value)
{
    value.requireKeysAmong({"fx", "fy", "cx", "cy"});
    const auto read = [&](const char *name, double least) {
        const auto member = value.member(name);
        if (!member)
            value.fail(std::string("the key ") + name + " is missing");
        return static_cast<float>(member->number(least, 100000.0));
    };
    return {read("fx", 0.001), read("fy", 0.001), read("cx", -100000.0), read("cy", -100000.0)};
}

/// Resolves a path relative to the scenario's folder.
std::string readPath(const JsonValue &value, const std::string &folder)
{
    std::string path = value.text();
    if (path.empty())
        value.fail("must not be empty");
    return path.front() == '/' ? path : folder + "/" + path;
}

ImagesSetup readImages(const JsonValue &value, const std::string &folder)
{
    value.requireKeysAmong({"folder", "repeat", "depth_unit_mm", "intrinsics"});
    ImagesSetup images;
    const auto path = value.member("folder");
    if (!path)
        value.fail("the key folder is missing");
    images.folder = readPath(*path, folder);
    images.folderLine = path->line();
    if (const auto repeat = value.member("repeat"))
        images.loop = readChoice(*repeat, "loop", "once");
    if (const auto unit = value.member("depth_unit_mm"))
        images.depthUnitMm = unit->number(0.000001, 1000.0);
    if (const auto intrinsics = value.member("intrinsics"))
        images.intrinsics = readIntrinsics(*intrinsics);
    return images;
}

RecordingSetup readRecording(const JsonValue &value, const std::string &folder)
{
    value.requireKeysAmong({"file", "repeat", "depth_unit_mm", "intrinsics"});
    RecordingSetup recording;
    const auto path = value.member("file");
    if (!path)
        value.fail("the key file is missing");
    recording.file = readPath(*path, folder);
    recording.fileLine = path->line();
    if (const auto repeat = value.member("repeat"))
        recording.loop = readChoice(*repeat, "loop", "once");
    if (const auto unit = value.member("depth_unit_mm"))
        recording.depthUnitMm = unit->number(0.000001, 1000.0);
    if (const auto intrinsics = value.member("intrinsics"))
        recording.intrinsics = readIntrinsics(*intrinsics);
    return recording;
}

void readSource(const JsonValue &root, const std::string &folder, Scenario &scenario)
{
    const auto source = root.member("source");
    const std::string name = source ? source->text() : "scene";
    if (name != "scene" && name != "images" && name != "recording")
        source->fail("must be \"scene\", \"images\" or \"recording\"");
    for (const char *kind : {"images", "recording"}) {
        const auto setup = root.member(kind);
        if (setup && name != kind)
            setup->fail(std::string("only goes with \"source\": \"") + kind + "\"");
        if (!setup && name == kind)
            source->fail(std::string("the key ") + kind + " is missing");
    }
    if (name == "images")
        scenario.images = readImages(*root.member("images"), folder);
    else if (name == "recording")
        scenario.recording = readRecording(*root.member("recording"), folder);
}

Scenario readScenario(const JsonValue &root, const std::string &folder)
{
    root.requireKeysAmong(
        {"cameras", "pacing", "source", "images", "recording", "frame_rate", "faults"});
    Scenario scenario;
    if (const auto cameras = root.member("cameras"))
        scenario.cameras = readCameras(*cameras);
    if (const auto pacing = root.member("pacing"))
        scenario.pacing =
            readChoice(*pacing, "realtime", "free") ? Pacing::kRealtime : Pacing::kFree;
    if (const auto rate = root.member("frame_rate"))
        scenario.frameRate = static_cast<int>(rate->integer(1, 120));
    readSource(root, folder, scenario);
    if (const auto faults = root.member("faults")) {
        const std::vector<Fault> all = readFaults(*faults);
        for (CameraSetup &camera : scenario.cameras)
            camera.faults.insert(camera.faults.begin(), all.begin(), all.end());
    }
    return scenario;
}

}  // namespace

std::variant<Scenario, ScenarioError> readScenarioFile(const std::string &path)
{
    const std::unique_ptr<std::FILE, Closer> file(std::fopen(path.c_str(), "rbe"));
    if (!file)
        return ScenarioError{"", 0, std::string("cannot be read: ") + std::strerror(errno)};
    std::string text(kLongest + 1, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (std::ferror(file.get()) != 0)
        return ScenarioError{"", 0, std::string("cannot be read: ") + std::strerror(errno)};
    if (text.size() > kLongest)
        return ScenarioError{"", 0, "is longer than 1 MiB"};
    const auto slash = path.find_last_of('/');
    return parseScenario(text, slash == std::string::npos ? "." : path.substr(0, slash));
}

std::string ScenarioError::text(const std::string &file) const
{
    return cleanText(file + ":" + (line > 0 ? std::to_string(line) + ": " : " ") +
                     (key.empty() ? "" : key + ": ") + message);
}

std::variant<Scenario, ScenarioError> parseScenario(const std::string &text,
                                                    const std::string &folder)
{
    try {
        const JsonDocument document(text);
        return readScenario(document.root(), folder);
    } catch (const ScenarioError &error) {
        return error;
    }
}

}  // namespace nubrix::virtual_camera
