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
    : Command(parent, "inspect",
              "Show what a record file contains: records, jumps in their index, frames/s, missing\n"
              "frames by the time stamps, and damage")
{
    app().add_option("FILE", m_file, "The record file")->required();
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
