#include "commands/StreamSelection.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include "ModeRequest.h"
#include "Names.h"

namespace nubrix::tool {

namespace {

using StreamTypes = std::vector<client::StreamType>;

constexpr const char *kDefaultStreams = "color,depth,ir";

bool contains(const StreamTypes &types, client::StreamType type)
{
    return std::find(types.begin(), types.end(), type) != types.end();
}

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
        if (!streamType(name))
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

std::string join(const StreamTypes &types)
{
    std::string text;
    for (const client::StreamType type : types)
        text += (text.empty() ? "" : ", ") + std::string(client::name(type));
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

std::vector<client::StreamType> StreamSelection::choose(client::Camera &camera) const
{
    StreamTypes types = chooseTypes(camera);
    setModes(camera, types);
    return types;
}

std::vector<client::StreamType> StreamSelection::chooseTypes(const client::Camera &camera) const
{
    StreamTypes offered;
    for (const client::StreamType type : kStreamTypes)
        if (!camera.modes(type).empty())
            offered.push_back(type);
    const bool byDefault = m_streams.empty();
    StreamTypes wanted;
    for (const std::string &name : split(byDefault ? kDefaultStreams : m_streams)) {
        wanted.push_back(*streamType(name));
        if (!contains(offered, wanted.back()) && !byDefault)
            throw std::runtime_error("the camera has no stream '" + name +
                                     "'; it has: " + join(offered));
    }
    StreamTypes chosen;
    for (const client::StreamType type : offered)
        if (contains(wanted, type))
            chosen.push_back(type);
    if (chosen.empty())
        throw std::runtime_error("the camera has none of " + std::string(kDefaultStreams) +
                                 "; it has: " + join(offered));
    return chosen;
}

void StreamSelection::setModes(client::Camera &camera,
                               const std::vector<client::StreamType> &types) const
{
    if (m_mode.empty())
        return;
    const ModeRequest wanted = *parseMode(m_mode);
    for (const client::StreamType type : types) {
        const std::vector<client::Mode> offered = camera.modes(type);
        const auto current = camera.mode(type);
        const auto mode =
            findMode(offered, wanted, current ? current->format : NUBRIX_PIXEL_RGB888);
        if (!mode) {
            throw std::runtime_error("mode " + m_mode + " is not available for " +
                                     client::name(type) + ": " +
                                     explainMissingMode(offered, wanted));
        }
        camera.setMode(type, *mode);
    }
}

}  // namespace nubrix::tool
