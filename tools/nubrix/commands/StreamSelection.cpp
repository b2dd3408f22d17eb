#include "commands/StreamSelection.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include "Failure.h"
#include "ModeRequest.h"

namespace nubrix::tool {

namespace {

constexpr const char *kDefaultStreams = "color,depth,ir";

std::vector<std::string> split(const std::string &list)
{
    std::vector<std::string> parts;
    std::istringstream stream(list);
    for (std::string part; std::getline(stream, part, ',');)
        parts.push_back(part);
    return parts;
}

/// Returns an error text for the command line, empty if the list is valid.
std::string checkStreams(const std::string &list)
{
    if (list.empty() || list.back() == ',')
        return "a stream name is missing in '" + list + "'";
    for (const std::string &name : split(list))
        if (streamKind(name) == nullptr)
            return "there is no stream '" + name + "'; choose from color, depth, ir, light-ir";
    return {};
}

std::string checkMode(const std::string &mode)
{
    return parseMode(mode) ? "" : "'" + mode + "' is not a mode; write it as 640x480@30";
}

std::string checkSeconds(const std::string &seconds)
{
    const double value = std::strtod(seconds.c_str(), nullptr);
    return value >= 0.001 && value <= 1e9 ? "" : "'" + seconds + "' is not between 0.001 and 1e9";
}

std::string join(const std::vector<StreamKind> &kinds)
{
    std::string text;
    for (const StreamKind &kind : kinds)
        text += (text.empty() ? "" : ", ") + std::string(kind.name);
    return text.empty() ? "none" : text;
}

}  // namespace

StreamSelection::StreamSelection(CLI::App &options)
{
    options
        .add_option("--streams", m_streams, "color,depth,ir,light-ir; otherwise the first three")
        ->check(CLI::Validator(checkStreams, ""))
        ->type_name("LIST");
    options.add_option("--mode", m_mode, "The mode of all these streams; see 'nubrix modes'")
        ->check(CLI::Validator(checkMode, ""))
        ->type_name("WxH@FPS");
    CLI::Option *seconds = options.add_option("--seconds", m_seconds, "Stop after this time");
    seconds->check(CLI::Validator(checkSeconds, ""))->type_name("N");
    options.add_option("--frames", m_frames, "Stop after this many frames of each stream")
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 62).description(""))
        ->type_name("N")
        ->excludes(seconds);
}

std::vector<StreamKind> StreamSelection::choose(Camera &camera) const
{
    std::vector<StreamKind> kinds = chooseKinds(camera);
    setModes(camera, kinds);
    return kinds;
}

std::vector<StreamKind> StreamSelection::chooseKinds(Camera &camera) const
{
    std::vector<StreamKind> offered;
    for (const StreamKind &kind : kStreamKinds)
        if (!camera.modes(kind).empty())
            offered.push_back(kind);
    const bool byDefault = m_streams.empty();
    const std::vector<std::string> wanted = split(byDefault ? kDefaultStreams : m_streams);
    for (const std::string &name : wanted) {
        const bool found = std::any_of(offered.begin(), offered.end(),
                                       [&](const StreamKind &kind) { return name == kind.name; });
        if (!found && !byDefault)
            throw Failure("the camera has no stream '" + name + "'; it has: " + join(offered));
    }
    std::vector<StreamKind> chosen;
    for (const StreamKind &kind : offered)
        if (std::find(wanted.begin(), wanted.end(), kind.name) != wanted.end())
            chosen.push_back(kind);
    if (chosen.empty())
        throw Failure("the camera has none of " + std::string(kDefaultStreams) +
                      "; it has: " + join(offered));
    return chosen;
}

void StreamSelection::setModes(Camera &camera, const std::vector<StreamKind> &kinds) const
{
    if (m_mode.empty())
        return;
    const ModeRequest wanted = *parseMode(m_mode);
    for (const StreamKind &kind : kinds) {
        const std::vector<typedefNubrixFrameMode> offered = camera.modes(kind);
        const auto current = camera.currentMode(kind);
        const auto mode = findMode(offered, wanted, current ? current->pixelFormat : 0);
        if (!mode)
            throw Failure("mode " + m_mode + " is not available for " + kind.name + ": " +
                          explainMissingMode(offered, wanted));
        camera.setMode(kind, *mode);
    }
}

}  // namespace nubrix::tool
