// nubrix inspect: what a record file contains.
#include <iostream>
#include <stdexcept>
#include <string>

#include "commands/Command.h"
#include "commands/RecordSummary.h"

namespace nubrix::tool {

namespace {

class InspectCommand final : public Command {
public:
    explicit InspectCommand(CLI::App &parent);
    void run() override;

private:
    std::string m_file;
};

InspectCommand::InspectCommand(CLI::App &parent)
    : Command(parent, "inspect", "Show what a record file contains")
{
    app().add_option("FILE", m_file, "The record file")->required();
    app().footer(R"(It shows the records of each stream, jumps in their index, frames/s, missing
frames by the time stamps, and damage. 'nubrix repair' copies the complete
records of a damaged file.

Exit status: 0 the file has records, damaged or not, or is empty; 1 it is no
record file or cannot be read; 2 wrong use.

Examples:
  nubrix inspect room.bin
      The content of a recording as a table.
  nubrix inspect room.bin --json
      The same for a program; "problem" is null when nothing is damaged.)");
}

void InspectCommand::run()
{
    const RecordSummary summary = RecordSummary::of(m_file);
    // An empty file is a complete recording of nothing.
    if (summary.records == 0 && summary.bytes != 0)
        throw std::runtime_error(m_file + " is no record file: it has no complete record");
    if (json())
        printJson(summary.json());
    else
        std::cout << summary.text();
}

}  // namespace

std::unique_ptr<Command> makeInspectCommand(CLI::App &parent)
{
    return std::make_unique<InspectCommand>(parent);
}

}  // namespace nubrix::tool
