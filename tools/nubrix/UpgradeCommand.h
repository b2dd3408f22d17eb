// nubrix upgrade: new firmware for a camera.
#pragma once

#include "Command.h"

namespace nubrix {

class UpgradeCommand final : public Command {
public:
    explicit UpgradeCommand(CLI::App &parent);
    void run() override;

private:
    std::string m_uri;
    std::string m_file;
};

}  // namespace nubrix
