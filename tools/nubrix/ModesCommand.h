// nubrix modes: what each stream of a camera can be set to.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Camera.h"
#include "Command.h"

namespace nubrix {

class ModesCommand final : public Command {
public:
    explicit ModesCommand(CLI::App &parent);
    void run() override;

private:
    struct StreamModes {
        const char *name;
        std::optional<typedefNubrixFrameMode> current;
        std::vector<typedefNubrixFrameMode> supported;
    };

    static void reportJson(const std::string &uri, const std::vector<StreamModes> &streams);
    static void reportText(const std::string &uri, const std::vector<StreamModes> &streams);

    std::string m_uri;
};

}  // namespace nubrix
