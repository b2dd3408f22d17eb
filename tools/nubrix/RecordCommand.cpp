#include "RecordCommand.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <utility>

#include "Failure.h"
#include "InspectCommand.h"
#include "MonotonicClock.h"

namespace nubrix {

namespace {

constexpr int kTimeOut = -11;
constexpr int kTickMs = 200;
constexpr int kWaitMs = 20;  // for a frame; one that came just before the wait is read after it
constexpr std::uint64_t kLongestSilenceUs = 5000000;
constexpr std::uint64_t kLongestSilenceOnFullDiskUs = 2000000;

}  // namespace

/// Recorder and streams, ended in the order that leaves nothing behind.
class Recording {
public:
    Recording(Camera &camera, const std::string &path) : m_camera(camera)
    {
        require("createRecorder (" + path + ")",
                [&] { return context().createRecorder(path.c_str(), &m_recorder); });
    }
    ~Recording()
    {
        stop();
        for (NubrixStream *stream : streams)
            context().closeStream(stream);
        context().destroyRecorder(m_recorder);
    }
    Recording(const Recording &) = delete;
    Recording &operator=(const Recording &) = delete;

    void add(const StreamKind &kind)
    {
        NubrixStream *stream = nullptr;
        require(std::string("openStream (") + kind.name + ")", [&] {
            return context().openStream(m_camera.handle(), kind.type, &stream, nullptr, nullptr);
        });
        streams.push_back(stream);
        m_types.push_back(kind.type);
        require(std::string("recorderAttachStream (") + kind.name + ")",
                [&] { return context().recorderAttachStream(m_recorder, stream); });
    }
    void start()
    {
        require("recorderStart", [&] { return context().recorderStart(m_recorder); });
    }
    void stop() { context().recorderStop(m_recorder); }

    /// Without a camera to wait for: a tick, or until `stop`.
    void awaitFrame(const StopSignal &stop)
    {
        std::vector<NubrixStream *> handles = streams;
        const int status = context().waitForStreams(
            handles.data(), static_cast<int>(handles.size()), nullptr, kWaitMs);
        if (status != 0 && status != kTimeOut)
            stop.wait(kTickMs);
    }
    /// Notes the camera's numbers of the frames that have come, which the file does not have.
    void noteFrames(RecordCount &count)
    {
        for (std::size_t i = 0; i < streams.size(); ++i) {
            typedefNubrixFrame *frame = nullptr;
            if (context().readFrame(streams[i], &frame, 0) != 0)
                continue;
            count.note(m_types[i], frame->timestampLow | std::uint64_t{frame->timestampHigh} << 32U,
                       frame->frameIndex);
            context().releaseFrame(frame);
        }
    }

    std::vector<NubrixStream *> streams;

private:
    NubrixBaseContext &context() { return m_camera.context(); }

    Camera &m_camera;
    std::vector<unsigned int> m_types;  // of the streams
    NubrixRecord *m_recorder = nullptr;
};

namespace {

void checkCamera(Camera &camera, const std::vector<NubrixStream *> &streams)
{
    // With no time to wait it only asks whether the camera is there and answers.
    std::vector<NubrixStream *> handles = streams;
    std::string problem;
    const int status = attempt(
        "waitForStreams",
        [&] {
            return camera.context().waitForStreams(handles.data(), static_cast<int>(handles.size()),
                                                   nullptr, 0);
        },
        &problem);
    if (status != 0 && status != kTimeOut)
        throw Failure(problem);
}

/// A line on the terminal that is drawn again and again, and goes at the end.
class LiveLine {
public:
    explicit LiveLine(bool wanted) : m_shown(wanted && isatty(STDOUT_FILENO) == 1) {}
    ~LiveLine() { draw({}); }
    LiveLine(const LiveLine &) = delete;
    LiveLine &operator=(const LiveLine &) = delete;

    void draw(const std::string &text) const
    {
        if (m_shown)
            std::cout << '\r' << text << "\033[K" << std::flush;
    }

private:
    const bool m_shown;
};

}  // namespace

/// The file as it grows under the recorder.
class GrowingRecord {
public:
    /// Throws a Failure when it is no file that can be read.
    GrowingRecord(std::string path, const std::vector<StreamKind> &kinds)
        : m_path(std::move(path)), m_kinds(kinds)
    {
        openRecords(m_reader, m_path);
    }

    /// Counts what is new. Throws a Failure when the file is gone or does not grow any more.
    void look(std::uint64_t nowUs)
    {
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(m_path, error);
        if (error)
            throw Failure(m_path + " is gone: " + error.message());
        if (size != m_size || m_grownUs == 0)
            m_grownUs = nowUs;
        m_size = size;
        if (m_reader.update() != 0)
            throw Failure(m_path + ": " + m_reader.errorText());
        m_count.addNew(m_reader, m_path);
        checkThatItGrows(nowUs - m_grownUs);
    }
    /// "3.2 s  41.0 MB  color 96 (0 missing)".
    std::string line(double seconds) const
    {
        char time[32];
        std::snprintf(time, sizeof(time), "%.1f s  ", seconds);
        std::string text = time + sizeText(m_size);
        for (const StreamKind &kind : m_kinds) {
            const RecordedStreamFigures figures = m_count.stream(kind.type);
            text += "  " + figures.name + ' ' + std::to_string(figures.records) + " (" +
                    std::to_string(figures.missing) + " missing)";
        }
        return text;
    }
    RecordCount &count() { return m_count; }
    /// Whether every stream has so many frames.
    bool has(std::uint64_t frames) const
    {
        return std::all_of(m_kinds.begin(), m_kinds.end(), [&](const StreamKind &kind) {
            return m_count.stream(kind.type).records >= frames;
        });
    }

private:
    void checkThatItGrows(std::uint64_t silenceUs) const
    {
        if (silenceUs <= kLongestSilenceOnFullDiskUs)
            return;
        std::error_code error;
        const auto space = std::filesystem::space(m_path, error);
        if (!error && space.available == 0)
            throw Failure("no space left for " + m_path);
        if (silenceUs > kLongestSilenceUs) {
            throw Failure(m_path + " has not grown for " +
                          std::to_string(kLongestSilenceUs / 1000000) +
                          " s: no frames come, or the file may not grow");
        }
    }

    const std::string m_path;
    const std::vector<StreamKind> &m_kinds;
    RecordReader m_reader;
    RecordCount m_count;
    std::uint64_t m_size = 0;
    std::uint64_t m_grownUs = 0;
};

RecordCommand::RecordCommand(CLI::App &parent)
    : Command(parent, "record", "Record streams into a file, and tell what is in it afterwards"),
      m_selection(app())
{
    addUri(m_uri);
    app().add_option("--out", m_out, "The file to write")->required()->type_name("FILE");
    app().footer(
        "Without --seconds and --frames it records until Ctrl-C. Exit status 1 when a frame\n"
        "is missing or the file is not whole.");
}

void RecordCommand::run()
{
    const StopSignal stop;
    std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is a failing write
    std::string problem;
    RecordCount seen;
    {
        Session session;
        Camera camera(session, m_uri);
        problem = record(camera, m_selection.choose(camera), stop, seen);
    }
    RecordSummary summary;
    try {
        summary = RecordSummary::of(m_out, std::move(seen));
    } catch (const Failure &failure) {
        throw Failure(problem.empty() ? failure.what() : problem);
    }
    report(summary, problem);
    if (!problem.empty())
        throw Failure(problem);
    if (!summary.problem.empty())
        throw Failure(m_out + " is not whole: " + summary.problem);
    for (const RecordedStreamFigures &figures : summary.streams) {
        if (figures.missing != 0 || figures.gaps.value_or(0) != 0)
            throw Failure("frames of " + figures.name + " are missing");
    }
    if (summary.records == 0)
        throw Failure("no frame came");
}

std::string RecordCommand::record(Camera &camera, const std::vector<StreamKind> &kinds,
                                  const StopSignal &stop, RecordCount &seen) const
{
    Recording recording(camera, m_out);
    GrowingRecord file(m_out, kinds);
    for (const StreamKind &kind : kinds)
        recording.add(kind);
    recording.start();
    std::string problem;
    try {
        watch(camera, recording, file, stop);
    } catch (const Failure &failure) {
        problem = failure.what();
    }
    recording.stop();
    recording.noteFrames(file.count());  // the last one, too
    seen = std::move(file.count());
    return problem;
}

void RecordCommand::watch(Camera &camera, Recording &recording, GrowingRecord &file,
                          const StopSignal &stop) const
{
    const LiveLine live(!json());
    const std::uint64_t startUs = monotonicUs();
    std::uint64_t lookedUs = startUs;
    while (!stop.requested()) {
        recording.awaitFrame(stop);
        recording.noteFrames(file.count());
        const std::uint64_t nowUs = monotonicUs();
        if (nowUs - lookedUs < std::uint64_t{kTickMs} * 1000)
            continue;
        lookedUs = nowUs;
        const double seconds = static_cast<double>(nowUs - startUs) / 1e6;
        file.look(nowUs);
        live.draw(file.line(seconds));
        if ((m_selection.seconds() > 0 && seconds >= m_selection.seconds()) ||
            (m_selection.frames() != 0 && file.has(m_selection.frames())))
            return;
        checkCamera(camera, recording.streams);
    }
}

void RecordCommand::report(const RecordSummary &summary, const std::string &problem) const
{
    if (json()) {
        Json report = InspectCommand::jsonOf(summary);
        report["file"] = m_out;
        if (!problem.empty())
            report["error"] = problem;
        printJson(report);
        return;
    }
    std::cout << InspectCommand::textOf(summary) << "recorded " << m_out << '\n';
}

}  // namespace nubrix
