// nubrix simulate: a network camera that shows the virtual camera's room.
#pragma once

#include "Command.h"

namespace nubrix {

/// All is done by the program nubrix-simulate beside the tool, which gets the words as they are:
/// only there is a server of cameras needed.
class SimulateCommand final : public Command {
public:
    explicit SimulateCommand(CLI::App &parent);
    [[noreturn]] void run() override;
};

}  // namespace nubrix
