// nubrix inspect: what is in a record file.
#pragma once

#include <string>

#include "Command.h"
#include "RecordSummary.h"

namespace nubrix {

class InspectCommand final : public Command {
public:
    explicit InspectCommand(CLI::App &parent);
    void run() override;

    /// What inspect reports as JSON.
    static Json jsonOf(const RecordSummary &summary);
    /// The table of the streams and what is wrong, as text.
    static std::string textOf(const RecordSummary &summary);

private:
    std::string m_file;
};

}  // namespace nubrix
