// nubrix export: the frames of a record file as pictures and point clouds.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Command.h"
#include "PinholeCloud.h"
#include "RecordExporter.h"
#include "StopSignal.h"

namespace nubrix {

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
        std::string problem;                      // empty if all went well
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

}  // namespace nubrix
