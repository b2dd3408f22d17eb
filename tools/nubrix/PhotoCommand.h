// nubrix photo: the newest colour picture as a bitmap file.
#pragma once

#include <string>

#include "Command.h"

namespace nubrix {

class PhotoCommand final : public Command {
public:
    explicit PhotoCommand(CLI::App &parent);
    void run() override;

private:
    std::string m_uri;
    std::string m_out;
};

}  // namespace nubrix
