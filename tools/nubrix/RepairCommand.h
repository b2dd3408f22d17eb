// nubrix repair: the whole records of a file as a file of their own.
#pragma once

#include <string>

#include "Command.h"

namespace nubrix {

class RepairCommand final : public Command {
public:
    explicit RepairCommand(CLI::App &parent);
    void run() override;

private:
    std::string m_file;
    std::string m_out;
};

}  // namespace nubrix
