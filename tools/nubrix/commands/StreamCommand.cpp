// nubrix stream: runs streams of a camera and reports their figures.
#include <unistd.h>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>
#include "StreamStatistics.h"
#include "commands/Command.h"
#include "commands/StreamRun.h"
#include "commands/StreamSelection.h"
#include "nubrix/client/session.h"
#include "output/LedgerReport.h"
#include "output/OutputFile.h"
#include "output/StreamTable.h"

namespace nubrix::tool {

namespace {

// The position in a recording, which only a camera that plays one has.
constexpr unsigned int kPropertyPlayTime = 0x5800;

bool isPlayback(const client::Camera &camera)
{
    try {
        camera.property<std::uint64_t>(kPropertyPlayTime);
        return true;
    } catch (const client::Error &) {
        return false;
    }
}

Command::Json ageJson(const StreamFigures &figures)
{
    if (!figures.hasAge)
        return nullptr;
    return {{"p50", figures.ageMedianUs}, {"p99", figures.age99PercentUs}};
}

class StreamCommand final : public Command {
public:
    explicit StreamCommand(CLI::App &parent);
    void run() override;

private:
    struct Result {
        std::vector<StreamRow> rows;
        std::vector<std::vector<std::string>> saved;   // the paths of each stream
        std::vector<std::vector<std::string>> losses;  // of each stream
        std::vector<NubrixStreamLedger> ledgers;
        std::string problem;  // empty on success
    };

    StreamRun::Streams openStreams(client::Camera &camera, const StopSignal &stop) const;
    Result stream(client::Camera &camera, const StopSignal &stop) const;
    void save(const StreamRun::Streams &streams, Result &result) const;
    void reportJson(const Result &result) const;
    static void reportText(const Result &result);
    static std::vector<StreamRow> rowsOf(const StreamRun::Streams &streams);

    std::string m_uri;
    StreamSelection m_selection;
    bool m_byCallback = false;
    bool m_byPolling = false;
    std::string m_folder;  // empty: save nothing
};

StreamCommand::StreamCommand(CLI::App &parent)
    : Command(parent, "stream", "Run streams of a camera and report their figures"),
      m_selection(app())
{
    addUri(m_uri);
    CLI::App &options = app();
    CLI::Option *callback = options.add_flag("--callback", m_byCallback,
                                             "Let the library call for each frame (the default)");
    options.add_flag("--poll", m_byPolling, "Wait for frames and read them")->excludes(callback);
    options.add_option("--save", m_folder, "Save the first and the last frame of each stream here")
        ->type_name("DIR");
    options.footer(
        R"(The figures are frames, frames/s, gaps in the frame index, lost and damaged
frames, the age of the frames from capture to arrival, and what frames were
lost to. The frames of a recording that is played have no age. Without
--seconds and --frames it runs until Ctrl-C.

Examples:
  nubrix stream --seconds 5
      Colour, depth and infrared of the first camera for five seconds.
  nubrix stream usb:1-2 --streams depth --mode 640x480@30 --frames 100
      A hundred depth frames of one camera in one mode.
  nubrix stream --streams color,depth --frames 10 --save images
      The first and the last frame of two streams as images in a folder.)");
}

void StreamCommand::run()
{
    // Created first, so that Ctrl-C ends everything below cleanly.
    const StopSignal stop;
    if (!m_folder.empty())
        makeFolder(m_folder);
    client::Camera camera = client::Session().open(m_uri);
    const Result result = stream(camera, stop);
    if (json())
        reportJson(result);
    else
        reportText(result);
    if (!result.problem.empty())
        throw std::runtime_error(result.problem);
}

StreamRun::Streams StreamCommand::openStreams(client::Camera &camera, const StopSignal &stop) const
{
    const FrameCounter::Options options = {!m_folder.empty(), m_selection.frames(),
                                           isPlayback(camera)};
    StreamRun::Streams streams;
    for (const client::StreamType type : m_selection.choose(camera)) {
        streams.push_back(m_byPolling
                              ? std::make_unique<CountedStream>(camera, type, options)
                              : std::make_unique<CountedStream>(camera, type, options, stop));
    }
    return streams;
}

StreamCommand::Result StreamCommand::stream(client::Camera &camera, const StopSignal &stop) const
{
    StreamRun::Streams streams = openStreams(camera, stop);
    StreamTable table;
    const bool live = !json() && isatty(STDOUT_FILENO) == 1;
    const auto onTick = [&] {
        if (live)
            table.drawLive(rowsOf(streams), monotonicUs());
    };
    Result result;
    result.problem = StreamRun(streams, stop, {!m_byPolling, m_selection.seconds(), onTick}).run();
    table.clearLive();
    result.rows = rowsOf(streams);
    for (const auto &each : streams) {
        result.ledgers.push_back(each->stream.ledger());
        result.losses.push_back(lossesOf(each->stream));
    }
    save(streams, result);
    return result;
}

void StreamCommand::save(const StreamRun::Streams &streams, Result &result) const
{
    for (const auto &each : streams)
        result.saved.push_back(m_folder.empty() ? std::vector<std::string>()
                                                : each->counter.save(m_folder));
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
                       {"age_us", ageJson(figures)},
                       {"losses", result.losses[i]},
                       {"ledger", ledgerJson(result.ledgers[i])}};
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
    for (const auto &lines : result.losses)
        std::cout << lossText(lines);
    for (const auto &paths : result.saved)
        for (const std::string &path : paths)
            std::cout << "saved " << path << '\n';
}

std::vector<StreamRow> StreamCommand::rowsOf(const StreamRun::Streams &streams)
{
    std::vector<StreamRow> rows;
    for (const auto &each : streams)
        rows.push_back({client::name(each->counter.type()), each->counter.figures()});
    return rows;
}

}  // namespace

std::unique_ptr<Command> makeStreamCommand(CLI::App &parent)
{
    return std::make_unique<StreamCommand>(parent);
}

}  // namespace nubrix::tool
