// nubrix list: the attached cameras.
#pragma once

#include <vector>

#include "Command.h"
#include "PluginReport.h"
#include "Session.h"

namespace nubrix {

class ListCommand final : public Command {
public:
    explicit ListCommand(CLI::App &parent);
    void run() override;

private:
    using Cameras = std::vector<CameraInfo>;
    using Plugins = std::vector<PluginState>;

    static void reportJson(const Cameras &cameras, const Plugins &plugins);
    static void reportText(const Cameras &cameras, const Plugins &plugins);
};

}  // namespace nubrix
