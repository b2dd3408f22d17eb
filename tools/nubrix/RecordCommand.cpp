#include "RecordCommand.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <iostream>

#include "Failure.h"
#include "InspectCommand.h"
#include "MonotonicClock.h"

namespace nubrix {

namespace {

constexpr int kTimeOut = -11;
constexpr int kTickMs = 200;
constexpr std::uint64_t kLongestSilenceUs = 5000000;

std::uint64_t sizeOf(const std::string &path)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

std::string whyItDoesNotGrow(const std::string &path)
{
    std::error_code error;
    const auto space = std::filesystem::space(path, error);
    if (error)
        return path + " is gone: " + error.message();
    if (space.available == 0)
        return "no space left for " + path;
    return path + " has not grown for " + std::to_string(kLongestSilenceUs / 1000000) +
           " s: no frames come, or the file may not grow";
}

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
        context().recorderStop(m_recorder);
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
        require(std::string("recorderAttachStream (") + kind.name + ")",
                [&] { return context().recorderAttachStream(m_recorder, stream); });
    }
    void start()
    {
        require("recorderStart", [&] { return context().recorderStart(m_recorder); });
    }

    std::vector<NubrixStream *> streams;

private:
    NubrixBaseContext &context() { return m_camera.context(); }

    Camera &m_camera;
    NubrixRecord *m_recorder = nullptr;
};

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

}  // namespace

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
    {
        Session session;
        Camera camera(session, m_uri);
        problem = record(camera, m_selection.choose(camera), stop);
    }
    RecordSummary summary;
    try {
        summary = RecordSummary::of(m_out);
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
                                  const StopSignal &stop) const
{
    Recording recording(camera, m_out);
    for (const StreamKind &kind : kinds)
        recording.add(kind);
    recording.start();
    return watch(camera, recording.streams, kinds, stop);
}

std::string RecordCommand::watch(Camera &camera, const std::vector<NubrixStream *> &streams,
                                 const std::vector<StreamKind> &kinds, const StopSignal &stop) const
{
    const std::uint64_t startUs = monotonicUs();
    const bool live = !json() && isatty(STDOUT_FILENO) == 1;
    std::uint64_t size = 0;
    std::uint64_t grownUs = startUs;
    try {
        while (!stop.requested()) {
            stop.wait(kTickMs);
            const std::uint64_t nowUs = monotonicUs();
            const double seconds = static_cast<double>(nowUs - startUs) / 1e6;
            const std::uint64_t newSize = sizeOf(m_out);
            if (newSize != size)
                grownUs = nowUs;
            size = newSize;
            if (live)
                std::cout << "\r" << static_cast<int>(seconds) << " s, " << sizeText(size)
                          << "      " << std::flush;
            if ((m_selection.seconds() > 0 && seconds >= m_selection.seconds()) ||
                (m_selection.frames() != 0 && complete(RecordSummary::of(m_out), kinds)))
                break;
            checkCamera(camera, streams);
            if (nowUs - grownUs > kLongestSilenceUs)
                return whyItDoesNotGrow(m_out);
        }
    } catch (const Failure &failure) {
        return failure.what();
    }
    if (live)
        std::cout << "\r";
    return {};
}

bool RecordCommand::complete(const RecordSummary &summary,
                             const std::vector<StreamKind> &kinds) const
{
    return std::all_of(kinds.begin(), kinds.end(), [&](const StreamKind &kind) {
        return summary.stream(kind.type).records >= m_selection.frames();
    });
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
