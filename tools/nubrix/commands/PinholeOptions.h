// The options for the pinhole camera of a point cloud: those of 'cloud' and 'export'.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "output/PointCloud.h"

namespace nubrix::tool {

class PinholeOptions {
public:
    /// Adds --scale, --fx, --fy, --cx and --cy; `defaults` describes what is used without the last
    /// four.
    PinholeOptions(CLI::App &options, const std::string &defaults);
    PinholeOptions(const PinholeOptions &) = delete;
    PinholeOptions &operator=(const PinholeOptions &) = delete;

    float scale() const { return m_scale; }
    bool complete() const { return m_fx && m_fy && m_cx && m_cy; }
    /// The user's values, and those of `defaults` where the user gave none.
    Pinhole over(const Pinhole &defaults) const;

private:
    float m_scale = 1000;
    std::optional<float> m_fx;
    std::optional<float> m_fy;
    std::optional<float> m_cx;
    std::optional<float> m_cy;
};

}  // namespace nubrix::tool
