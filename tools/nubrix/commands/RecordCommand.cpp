// nubrix record: records streams of a camera into a file.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "StopSignal.h"
#include "StreamStatistics.h"
#include "commands/Command.h"
#include "commands/RecordSummary.h"
#include "commands/StreamSelection.h"
#include "nubrix/client/session.h"
#include "output/LedgerReport.h"
#include "output/ProgressBar.h"

namespace nubrix::tool {

namespace {

constexpr int kRecordTickMs = 200;
constexpr std::uint64_t kGrowthTimeoutUs = 5000000;
constexpr std::uint64_t kFullDiskTimeoutUs = 2000000;

/// The streams that are recorded, for the frame indices, which the file does not store.
class SeenStreams {
public:
    SeenStreams(client::Camera &camera, const std::vector<client::StreamType> &types)
    {
        for (const client::StreamType type : types)
            m_streams.push_back(camera.start(type, std::nullopt, 1));
    }

    /// Waits for a frame, for a tick at most. Throws an Error when the camera is gone.
    void wait();
    /// Adds the frames that have arrived.
    void addTo(RecordStatistics &statistics);
    /// Throws an Error when the camera is gone or unresponsive.
    void checkCamera() { m_streams.front().check(); }

private:
    std::vector<client::Stream> m_streams;
};

void SeenStreams::wait()
{
    std::vector<client::Stream *> streams;
    for (client::Stream &stream : m_streams)
        streams.push_back(&stream);
    try {
        client::waitAny(streams, client::Milliseconds(kRecordTickMs));
    } catch (const client::Timeout &) {
        // The growth of the file decides how long is too long.
    }
}

void SeenStreams::addTo(RecordStatistics &statistics)
{
    for (client::Stream &stream : m_streams) {
        if (const client::Frame frame = stream.tryNext()) {
            const typedefNubrixFrame &record = frame.record();
            statistics.addSeenFrame(
                static_cast<unsigned int>(stream.type()),
                record.timestampLow | std::uint64_t{record.timestampHigh} << 32U,
                record.frameIndex);
        }
    }
}

/// The record file while the recorder writes it.
class GrowingRecord {
public:
    /// Throws a std::runtime_error when the file cannot be read.
    GrowingRecord(std::string path, const std::vector<client::StreamType> &types)
        : m_path(std::move(path)), m_types(types)
    {
        openRecords(m_reader, m_path);
    }

    /// Reads the new records. Throws a std::runtime_error when the file is gone or has stopped
    /// growing.
    void update(std::uint64_t nowUs);
    /// "3.2 s  41.0 MB  color 96 (0 missing)".
    std::string line(double seconds) const;
    RecordStatistics &statistics() { return m_statistics; }
    /// Whether every stream has this many frames.
    bool has(std::uint64_t frames) const;

private:
    RecordedStreamFigures figuresOf(client::StreamType type) const
    {
        return m_statistics.stream(static_cast<unsigned int>(type));
    }
    void checkGrowth(std::uint64_t idleUs) const;

    const std::string m_path;
    const std::vector<client::StreamType> &m_types;
    RecordReader m_reader;
    RecordStatistics m_statistics;
    std::uint64_t m_size = 0;
    std::uint64_t m_grownUs = 0;
};

void GrowingRecord::update(std::uint64_t nowUs)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(m_path, error);
    if (error)
        throw std::runtime_error(m_path + " is gone: " + error.message());
    if (size != m_size || m_grownUs == 0)
        m_grownUs = nowUs;
    m_size = size;
    if (m_reader.update() != 0)
        throw std::runtime_error(m_path + ": " + m_reader.errorText());
    m_statistics.addNewRecords(m_reader, m_path);
    checkGrowth(nowUs - m_grownUs);
}

std::string GrowingRecord::line(double seconds) const
{
    char time[32];
    std::snprintf(time, sizeof(time), "%.1f s  ", seconds);
    std::string text = time + bytesText(m_size);
    for (const client::StreamType type : m_types) {
        const RecordedStreamFigures figures = figuresOf(type);
        text += "  " + figures.name + ' ' + std::to_string(figures.records) + " (" +
                std::to_string(figures.missing) + " missing)";
    }
    return text;
}

bool GrowingRecord::has(std::uint64_t frames) const
{
    return std::all_of(m_types.begin(), m_types.end(),
                       [&](client::StreamType type) { return figuresOf(type).records >= frames; });
}

void GrowingRecord::checkGrowth(std::uint64_t idleUs) const
{
    if (idleUs <= kFullDiskTimeoutUs)
        return;
    std::error_code error;
    const auto space = std::filesystem::space(m_path, error);
    if (!error && space.available == 0)
        throw std::runtime_error("no space left for " + m_path);
    if (idleUs > kGrowthTimeoutUs) {
        throw std::runtime_error(m_path + " has not grown for " +
                                 std::to_string(kGrowthTimeoutUs / 1000000) +
                                 " s: no frames arrive, or the file has reached its largest size");
    }
}

class RecordCommand final : public Command {
public:
    explicit RecordCommand(CLI::App &parent);
    void run() override;

private:
    struct Outcome {
        std::string problem;  // the failure that ended the recording early, empty without one
        RecordStatistics seen;
        std::vector<std::string> losses;
        Json ledgers = Json::object();  // by stream
    };

    Outcome record(client::Camera &camera, const std::vector<client::StreamType> &types,
                   const StopSignal &stop) const;
    void monitor(SeenStreams &streams, GrowingRecord &file, const StopSignal &stop) const;
    bool isFinished(const GrowingRecord &file, double seconds) const;
    void check(const RecordSummary &summary) const;
    void report(const RecordSummary &summary, const Outcome &outcome) const;

    StreamSelection m_selection;
    std::string m_uri;
    std::string m_out;
};

RecordCommand::RecordCommand(CLI::App &parent)
    : Command(parent, "record", "Record streams into a file, and show what it contains afterwards"),
      m_selection(app())
{
    addUri(m_uri);
    app().add_option("--out", m_out, "The file to write")->required()->type_name("FILE");
    app().footer(R"(Without --seconds and --frames it records until Ctrl-C. What ends the
recording, a full disk for instance, does not harm the records before.

Exit status: 0 done; 1 failed, a frame is missing or the file is damaged; 2
wrong use.

Examples:
  nubrix record --out room.bin --seconds 10
      Colour, depth and infrared of the first camera for ten seconds.
  nubrix record usb:1-2 --streams depth --mode 320x240@15 --frames 20 --out depth.bin
      Twenty depth frames of one camera in a small mode.)");
}

void RecordCommand::run()
{
    const StopSignal stop;
    std::signal(SIGXFSZ, SIG_IGN);  // a write beyond the file size limit fails instead
    Outcome outcome;
    {
        client::Camera camera = client::Session().open(m_uri);
        outcome = record(camera, m_selection.choose(camera), stop);
    }
    RecordSummary summary;
    try {
        summary = RecordSummary::of(m_out, std::move(outcome.seen));
    } catch (const std::runtime_error &error) {
        throw std::runtime_error(outcome.problem.empty() ? error.what() : outcome.problem);
    }
    report(summary, outcome);
    if (!outcome.problem.empty())
        throw std::runtime_error(outcome.problem);
    check(summary);
}

RecordCommand::Outcome RecordCommand::record(client::Camera &camera,
                                             const std::vector<client::StreamType> &types,
                                             const StopSignal &stop) const
{
    client::Recorder recorder = camera.record(m_out, types);
    GrowingRecord file(m_out, types);
    SeenStreams streams(camera, types);  // after the recorder, which gets the first frames
    Outcome outcome;
    try {
        monitor(streams, file, stop);
        recorder.finish();
    } catch (const std::runtime_error &error) {
        outcome.problem = error.what();
    }
    streams.addTo(file.statistics());  // the last frame of each stream
    outcome.seen = std::move(file.statistics());
    outcome.losses = recorder.losses();
    const std::vector<NubrixStreamLedger> ledgers = recorder.ledgers();
    for (std::size_t i = 0; i < ledgers.size(); ++i)
        outcome.ledgers[client::name(types[i])] = ledgerJson(ledgers[i]);
    return outcome;
}

void RecordCommand::monitor(SeenStreams &streams, GrowingRecord &file, const StopSignal &stop) const
{
    const LiveLine live(!json());
    const std::uint64_t startUs = monotonicUs();
    std::uint64_t lastTickUs = startUs;
    while (!stop.requested()) {
        streams.wait();
        streams.addTo(file.statistics());
        const std::uint64_t nowUs = monotonicUs();
        if (nowUs - lastTickUs < std::uint64_t{kRecordTickMs} * 1000)
            continue;
        lastTickUs = nowUs;
        const double seconds = static_cast<double>(nowUs - startUs) / 1e6;
        file.update(nowUs);
        live.draw(file.line(seconds));
        if (isFinished(file, seconds))
            return;
        streams.checkCamera();
    }
}

bool RecordCommand::isFinished(const GrowingRecord &file, double seconds) const
{
    return (m_selection.seconds() > 0 && seconds >= m_selection.seconds()) ||
           (m_selection.frames() != 0 && file.has(m_selection.frames()));
}

/// Throws a std::runtime_error when a frame is missing or the file is damaged.
void RecordCommand::check(const RecordSummary &summary) const
{
    if (!summary.problem.empty())
        throw std::runtime_error(m_out + " is damaged: " + summary.problem);
    for (const RecordedStreamFigures &figures : summary.streams) {
        if (figures.missing != 0 || figures.gaps.value_or(0) != 0)
            throw std::runtime_error("frames of " + figures.name + " are missing");
    }
    if (summary.records == 0)
        throw std::runtime_error("no frame arrived");
}

void RecordCommand::report(const RecordSummary &summary, const Outcome &outcome) const
{
    if (json()) {
        Json report = summary.json();
        report["file"] = m_out;
        report["losses"] = outcome.losses;
        report["ledgers"] = outcome.ledgers;
        if (!outcome.problem.empty())
            report["error"] = outcome.problem;
        printJson(report);
        return;
    }
    std::cout << summary.text() << lossText(outcome.losses) << "recorded " << m_out << '\n';
}

}  // namespace

std::unique_ptr<Command> makeRecordCommand(CLI::App &parent)
{
    return std::make_unique<RecordCommand>(parent);
}

}  // namespace nubrix::tool
