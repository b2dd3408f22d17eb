// nubrix props: the records that a camera keeps of itself.
#pragma once

#include <string>

#include "Command.h"

namespace nubrix {

class PropsCommand final : public Command {
public:
    explicit PropsCommand(CLI::App &parent);
    void run() override;

private:
    std::string m_uri;
    unsigned int m_flagMode = 0;  // 0: leave it
};

}  // namespace nubrix
