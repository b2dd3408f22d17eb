// nubrix repair: copies the complete records of a damaged file.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include "commands/Command.h"
#include "commands/RecordSummary.h"
#include "output/OutputFile.h"

namespace nubrix::tool {

namespace {

// docs/recording.md describes the format.
std::string tagOf(const RecordInfo &info)
{
    std::string tag;
    putLittle(tag, info.streamType, 2);
    putLittle(tag, info.index, 4);
    putLittle(tag, info.timestampUs, 8);
    putLittle(tag, info.dataSize, 4);
    putLittle(tag, info.width, 4);
    putLittle(tag, info.height, 4);
    return tag;
}

class RepairCommand final : public Command {
public:
    explicit RepairCommand(CLI::App &parent);
    void run() override;

private:
    std::string m_file;
    std::string m_out;
};

RepairCommand::RepairCommand(CLI::App &parent)
    : Command(parent, "repair", "Copy the complete records of a record file to another file")
{
    app().add_option("FILE", m_file, "The record file; it is not changed")->required();
    app().add_option("--out", m_out, "The file to write")->required()->type_name("FILE");
    app().footer(R"(A recording that was killed, or whose disk was full, may end within a record;
after a failed write a piece of a record may lie between complete ones. 'nubrix
inspect' shows both.

Examples:
  nubrix repair room.bin --out whole.bin
      Leave out what belongs to no complete record.
  nubrix repair room.bin --out whole.bin --json
      The same, and report the numbers of records and bytes for a program.)");
}

void RepairCommand::run()
{
    RecordReader reader;
    openRecords(reader, m_file);
    std::error_code error;
    if (std::filesystem::equivalent(m_file, m_out, error))
        throw std::runtime_error("--out names the source; choose another file");
    std::ofstream out(m_out, std::ios::binary | std::ios::trunc);
    if (!out)
        throw std::runtime_error("cannot write " + m_out + ": " + std::strerror(errno));
    for (unsigned int i = 0; i < reader.count(); ++i) {
        RecordFrame frame;
        if (reader.frame(i, &frame) != 0)
            throw std::runtime_error(m_file + ": " + reader.errorText());
        const std::string tag = tagOf(frame.info());
        out.write(tag.data(), static_cast<std::streamsize>(tag.size()));
        out.write(reinterpret_cast<const char *>(frame.data()), frame.info().dataSize);
    }
    out.close();
    if (!out)
        throw std::runtime_error("cannot write " + m_out + ": " + std::strerror(errno));
    const unsigned long long left = reader.trailingBytes() + reader.skippedBytes();
    if (json())
        printJson({{"records", reader.count()}, {"left_out_bytes", left}});
    else
        std::cout << "kept " << reader.count() << " records, left out " << left << " bytes\n";
}

}  // namespace

std::unique_ptr<Command> makeRepairCommand(CLI::App &parent)
{
    return std::make_unique<RepairCommand>(parent);
}

}  // namespace nubrix::tool
