#include "StreamCommand.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "Failure.h"
#include "ModeRequest.h"
#include "MonotonicClock.h"

namespace nubrix {

namespace {

constexpr const char *kUsualStreams = "color,depth,ir";

std::vector<std::string> split(const std::string &list)
{
    std::vector<std::string> parts;
    std::istringstream stream(list);
    for (std::string part; std::getline(stream, part, ',');)
        parts.push_back(part);
    return parts;
}

/// For the command line: the text says what is wrong, empty if nothing is.
std::string checkStreams(const std::string &list)
{
    if (list.empty() || list.back() == ',')
        return "a name of a stream is missing in '" + list + "'";
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

void makeFolder(const std::string &folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        throw Failure("cannot make the folder " + folder + ": " + error.message());
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        throw Failure("cannot write to the folder " + folder);
}

}  // namespace

StreamCommand::StreamCommand(CLI::App &parent)
    : Command(parent, "stream",
              "Let streams run and tell how they do: frames, frames/s, gaps in the frame index,\n"
              "frames lost, damaged frames, age of the frames from capture to arrival")
{
    addUri(m_uri);
    CLI::App &options = app();
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
    CLI::Option *callback = options.add_flag("--callback", m_byCallback,
                                             "Let the library call for each frame (the default)");
    options.add_flag("--poll", m_byPolling, "Wait for frames and read them")->excludes(callback);
    options.add_option("--save", m_folder, "Save the first and the last frame of each stream here")
        ->type_name("DIR");
    options.footer("Without --seconds and --frames it runs until Ctrl-C.");
}

void StreamCommand::run()
{
    // First, so that Ctrl-C comes to a clean end from here on.
    const StopSignal stop;
    if (!m_folder.empty())
        makeFolder(m_folder);
    Session session;
    Camera camera(session, m_uri);
    const Result result = stream(camera, stop);
    if (json())
        reportJson(result);
    else
        reportText(result);
    if (!result.problem.empty())
        throw Failure(result.problem);
}

std::vector<StreamKind> StreamCommand::chooseKinds(Camera &camera) const
{
    std::vector<StreamKind> offered;
    for (const StreamKind &kind : kStreamKinds)
        if (!camera.modes(kind).empty())
            offered.push_back(kind);
    const bool usual = m_streams.empty();
    const std::vector<std::string> wanted = split(usual ? kUsualStreams : m_streams);
    for (const std::string &name : wanted) {
        const bool found = std::any_of(offered.begin(), offered.end(),
                                       [&](const StreamKind &kind) { return name == kind.name; });
        if (!found && !usual)
            throw Failure("the camera has no stream '" + name + "'; it has: " + join(offered));
    }
    std::vector<StreamKind> chosen;
    for (const StreamKind &kind : offered)
        if (std::find(wanted.begin(), wanted.end(), kind.name) != wanted.end())
            chosen.push_back(kind);
    if (chosen.empty())
        throw Failure("the camera has none of " + std::string(kUsualStreams) +
                      "; it has: " + join(offered));
    return chosen;
}

void StreamCommand::setModes(Camera &camera, const std::vector<StreamKind> &kinds) const
{
    if (m_mode.empty())
        return;
    const ModeRequest wanted = *parseMode(m_mode);
    for (const StreamKind &kind : kinds) {
        const std::vector<typedefNubrixFrameMode> offered = camera.modes(kind);
        const auto current = camera.currentMode(kind);
        const auto mode = findMode(offered, wanted, current ? current->pixelFormat : 0);
        if (!mode)
            throw Failure("mode " + m_mode + " cannot be had for " + kind.name + ": " +
                          explainMissingMode(offered, wanted));
        camera.setMode(kind, *mode);
    }
}

StreamRun::Readers StreamCommand::openStreams(Camera &camera, const StopSignal &stop) const
{
    const std::vector<StreamKind> kinds = chooseKinds(camera);
    setModes(camera, kinds);
    const StreamReader::Options options = {!m_byPolling, !m_folder.empty(), m_frames};
    StreamRun::Readers readers;
    for (const StreamKind &kind : kinds)
        readers.push_back(std::make_unique<StreamReader>(camera, kind, options, stop));
    return readers;
}

StreamCommand::Result StreamCommand::stream(Camera &camera, const StopSignal &stop) const
{
    StreamRun::Readers readers = openStreams(camera, stop);
    StreamTable table;
    const bool live = !json() && isatty(STDOUT_FILENO) == 1;
    const auto onTick = [&] {
        if (live)
            table.drawLive(rowsOf(readers), monotonicUs());
    };
    Result result;
    result.problem =
        StreamRun(camera.context(), readers, stop, {!m_byPolling, m_seconds, onTick}).run();
    for (const auto &reader : readers)
        reader->close();
    table.clearLive();
    result.rows = rowsOf(readers);
    save(readers, result);
    return result;
}

void StreamCommand::save(const StreamRun::Readers &readers, Result &result) const
{
    for (const auto &reader : readers)
        result.saved.push_back(m_folder.empty() ? std::vector<std::string>()
                                                : reader->save(m_folder));
}

void StreamCommand::reportJson(const Result &result) const
{
    Json report = {{"streams", Json::array()}};
    for (std::size_t i = 0; i < result.rows.size(); ++i) {
        const StreamFigures &figures = result.rows[i].figures;
        Json stream = {{"type", result.rows[i].name},
                       {"frames", figures.frames},
                       {"fps", std::round(figures.framesPerSecond * 100) / 100},
                       {"gaps", figures.gaps},
                       {"lost", figures.lost},
                       {"damaged", figures.damaged},
                       {"age_us", {{"p50", figures.ageMedianUs}, {"p99", figures.age99PercentUs}}}};
        if (!m_folder.empty())
            stream["saved"] = result.saved[i];
        report["streams"].push_back(stream);
    }
    if (!result.problem.empty())
        report["error"] = result.problem;
    printJson(report);
}

void StreamCommand::reportText(const Result &result)
{
    std::cout << StreamTable::summary(result.rows);
    for (const auto &paths : result.saved)
        for (const std::string &path : paths)
            std::cout << "saved " << path << '\n';
}

std::vector<StreamRow> StreamCommand::rowsOf(const StreamRun::Readers &readers)
{
    std::vector<StreamRow> rows;
    for (const auto &reader : readers)
        rows.push_back({reader->kind().name, reader->figures()});
    return rows;
}

}  // namespace nubrix
