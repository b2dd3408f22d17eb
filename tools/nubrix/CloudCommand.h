// nubrix cloud: one depth picture as a point cloud.
#pragma once

#include <optional>
#include <string>

#include "Camera.h"
#include "Command.h"

namespace nubrix {

class CloudCommand final : public Command {
public:
    explicit CloudCommand(CLI::App &parent);
    void run() override;

private:
    struct Intrinsics {
        float fx;
        float fy;
        float cx;
        float cy;
    };

    Intrinsics intrinsicsOf(Camera &camera) const;

    std::string m_uri;
    std::string m_out;
    bool m_rgba = false;
    float m_scale = 1000;
    std::optional<float> m_fx;
    std::optional<float> m_fy;
    std::optional<float> m_cx;
    std::optional<float> m_cy;
};

}  // namespace nubrix
