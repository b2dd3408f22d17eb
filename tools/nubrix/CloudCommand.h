// nubrix cloud: one depth picture as a point cloud.
#pragma once

#include <string>

#include "Camera.h"
#include "Command.h"
#include "PinholeCloud.h"

namespace nubrix {

class CloudCommand final : public Command {
public:
    explicit CloudCommand(CLI::App &parent);
    void run() override;

private:
    PointCloudFile cloudOf(Camera &camera, const typedefNubrixFrame &frame) const;
    PointCloudFile colouredCloudOf(Camera &camera, const typedefNubrixFrame &frame) const;
    Pinhole pinholeOf(Camera &camera) const;

    std::string m_uri;
    std::string m_out;
    bool m_rgba = false;
    PinholeOptions m_pinhole;
};

}  // namespace nubrix
