// nubrix export: the frames of a record file as images and point clouds.
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>
#include "Names.h"
#include "StopSignal.h"
#include "commands/Command.h"
#include "commands/RecordExporter.h"
#include "commands/RecordSummary.h"
#include "output/OutputFile.h"
#include "output/ProgressBar.h"

namespace nubrix::tool {

namespace {

const std::map<std::string, unsigned int> kColourFormats = {{"yuyv", NUBRIX_PIXEL_YUYV},
                                                            {"uyvy", NUBRIX_PIXEL_UYVY},
                                                            {"nv21", NUBRIX_PIXEL_NV21},
                                                            {"i420", NUBRIX_PIXEL_I420}};

std::vector<std::string> namesOf(const std::map<std::string, unsigned int> &formats)
{
    std::vector<std::string> names;
    for (const auto &[name, format] : formats)
        names.push_back(name);
    return names;
}

/// The table of time stamps, with one line per record.
class TimestampTable {
public:
    explicit TimestampTable(const std::string &path)
        : m_path(path), m_file(path, std::ios::binary | std::ios::trunc)
    {
        m_file << "stream,record,index,timestamp_us,width,height,bytes,files\n";
        check();
    }

    void add(const RecordInfo &info, unsigned int number, const std::vector<std::string> &files)
    {
        m_file << streamName(info.streamType) << ',' << number << ',' << info.index << ','
               << info.timestampUs << ',' << info.width << ',' << info.height << ','
               << info.dataSize << ',';
        for (std::size_t i = 0; i < files.size(); ++i)
            m_file << (i == 0 ? "" : " ") << files[i];
        m_file << '\n';
    }

    void check()
    {
        if (!m_file.flush())
            throw std::runtime_error("cannot write " + m_path + ": " + std::strerror(errno));
    }

private:
    const std::string m_path;
    std::ofstream m_file;
};

void requireRecords(const RecordReader &reader, const std::string &path)
{
    if (reader.count() != 0)
        return;
    const std::string problem = reader.problem();
    throw std::runtime_error(path + ": it has no complete record" +
                             (problem.empty() ? ", it is empty" : "; " + problem));
}

std::string textOf(const std::vector<std::string> &problems)
{
    if (problems.empty())
        return {};
    const std::string more = std::to_string(problems.size() - 1);
    return problems.front() + (problems.size() == 1 ? "" : "; and " + more + " similar problems");
}

class ExportCommand final : public Command {
public:
    explicit ExportCommand(CLI::App &parent);
    void run() override;

private:
    struct Figures {
        std::uint64_t records = 0;   // in the file
        std::uint64_t exported = 0;  // every N-th of them
        std::uint64_t files = 0;
    };
    struct Result {
        std::map<unsigned int, Figures> streams;  // by stream type
        std::string problem;                      // empty on success
    };

    void addOptions();
    RecordExporter::Options options() const;
    std::string tablePath() const;
    Result exportRecords(RecordReader &reader, const StopSignal &stop) const;
    /// False when it was stopped before the last record.
    bool exportAll(RecordReader &reader, RecordExporter &exporter, const StopSignal &stop,
                   Result &result) const;
    void report(const RecordReader &reader, const Result &result) const;
    void reportJson(const RecordReader &reader, const Result &result) const;

    std::string m_file;
    std::string m_folder;
    bool m_png = false;
    bool m_ply = false;
    bool m_bmp = false;
    std::uint64_t m_every = 1;
    float m_depthUnitMm = 0.0625F;
    std::string m_colourFormat;  // empty: RGB888, grey or JPEG
    PinholeOptions m_pinhole;
};

ExportCommand::ExportCommand(CLI::App &parent)
    : Command(parent, "export", "Save the frames of a record file as images and point clouds"),
      m_pinhole(app(), "13/16 of the\nwidth, and the centre of the image (the virtual camera)")
{
    addOptions();
    app().footer(R"(Without --png, --ply and --bmp it writes PNG. Each selected record has a line
in DIR/timestamps.csv. The complete records of a damaged file are exported.

Exit status: 0 done; 1 failed, the file is damaged or a record has no image; 2
wrong use.

Examples:
  nubrix export room.bin --out images
      Every frame as a PNG file, depth also in false colours.
  nubrix export room.bin --out clouds --ply --every 10
      Each tenth depth frame as a point cloud in metres, coloured by the
      nearest colour frame.)");
}

void ExportCommand::addOptions()
{
    CLI::App &options = app();
    options.add_option("FILE", m_file, "The record file")->required();
    options.add_option("--out", m_folder, "The folder to write to")->required()->type_name("DIR");
    options.add_flag("--png", m_png, "Images; depth with 16 bits and in false colours");
    options.add_flag("--ply", m_ply,
                     "A point cloud of each depth frame, coloured by the colour frame that is\n"
                     "nearest in time, if there is one");
    options.add_flag("--bmp", m_bmp, "Colour frames as bitmaps");
    options.add_option("--every", m_every, "Only every N-th record of each stream, from the first")
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{UINT32_MAX}).description(""))
        ->type_name("N");
    options
        .add_option("--depth-unit", m_depthUnitMm,
                    "What a depth value of 1 means, millimetres: 0.0625 for depth 12.4, 0.125 for\n"
                    "13.3, 0.25 for 14.2; a record does not store it. For clouds only")
        ->check(CLI::Range(0.000001, 1000.0).description(""))
        ->type_name("MM")
        ->capture_default_str();
    options
        .add_option("--color-format", m_colourFormat,
                    "What colour is if it has 2 or 1.5 bytes a pixel")
        ->check(CLI::IsMember(namesOf(kColourFormats)))
        ->type_name("NAME");
}

RecordExporter::Options ExportCommand::options() const
{
    std::optional<unsigned int> format;
    if (!m_colourFormat.empty())
        format = kColourFormats.at(m_colourFormat);
    return {m_folder, m_png || (!m_ply && !m_bmp), m_ply, m_bmp, m_depthUnitMm, format, m_pinhole};
}

std::string ExportCommand::tablePath() const
{
    return m_folder + "/timestamps.csv";
}

void ExportCommand::run()
{
    const StopSignal stop;
    std::signal(SIGXFSZ, SIG_IGN);  // a write beyond the file size limit fails instead
    RecordReader reader;
    openRecords(reader, m_file);
    requireRecords(reader, m_file);
    makeFolder(m_folder);
    const Result result = exportRecords(reader, stop);
    report(reader, result);
    if (!result.problem.empty())
        throw std::runtime_error(m_file + result.problem);
}

ExportCommand::Result ExportCommand::exportRecords(RecordReader &reader,
                                                   const StopSignal &stop) const
{
    RecordExporter exporter(reader, options());
    Result result;
    if (!exportAll(reader, exporter, stop, result))
        result.problem = ": stopped before the last record";
    else if (*reader.problem() != '\0')
        result.problem = std::string(" is damaged: ") + reader.problem();
    const std::string problems = textOf(exporter.problems());
    if (!problems.empty())
        result.problem += (result.problem.empty() ? ": " : "; ") + problems;
    return result;
}

bool ExportCommand::exportAll(RecordReader &reader, RecordExporter &exporter,
                              const StopSignal &stop, Result &result) const
{
    TimestampTable table(tablePath());
    ProgressBar bar(reader.count(), "records", !json());
    unsigned int done = 0;
    while (done < reader.count() && !stop.requested()) {
        RecordFrame record;
        if (reader.frame(done, &record) != 0)
            throw std::runtime_error(m_file + ": " + reader.errorText());
        const RecordInfo &info = record.info();
        Figures &figures = result.streams[info.streamType];
        if (figures.records++ % m_every == 0) {
            const std::vector<std::string> files = exporter.write(record, done);
            table.add(info, done, files);
            ++figures.exported;
            figures.files += files.size();
        }
        bar.draw(++done);
    }
    table.check();
    return done == reader.count();
}

void ExportCommand::report(const RecordReader &reader, const Result &result) const
{
    if (json()) {
        reportJson(reader, result);
        return;
    }
    std::cout << "stream      records  exported     files\n";
    for (const auto &[type, figures] : result.streams) {
        char row[96];
        std::snprintf(row, sizeof(row), "%-10s %8llu %9llu %9llu\n", streamName(type).c_str(),
                      static_cast<unsigned long long>(figures.records),
                      static_cast<unsigned long long>(figures.exported),
                      static_cast<unsigned long long>(figures.files));
        std::cout << row;
    }
    std::cout << "saved " << tablePath() << '\n';
}

void ExportCommand::reportJson(const RecordReader &reader, const Result &result) const
{
    Json streams = Json::object();
    std::uint64_t files = 0;
    for (const auto &[type, figures] : result.streams) {
        files += figures.files;
        streams[streamName(type)] = {
            {"records", figures.records}, {"exported", figures.exported}, {"files", figures.files}};
    }
    Json report = {{"folder", m_folder},
                   {"table", tablePath()},
                   {"records", reader.count()},
                   {"files", files},
                   {"streams", streams}};
    if (!result.problem.empty())
        report["error"] = m_file + result.problem;
    printJson(report);
}

}  // namespace

std::unique_ptr<Command> makeExportCommand(CLI::App &parent)
{
    return std::make_unique<ExportCommand>(parent);
}

}  // namespace nubrix::tool
