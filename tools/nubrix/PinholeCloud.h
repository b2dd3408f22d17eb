// Depth pictures as point clouds of a pinhole camera, and the options for it that commands share.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "PlyFile.h"
#include "nubrix/context.h"

namespace nubrix {

/// In pixels.
struct Pinhole {
    float fx;
    float fy;
    float cx;
    float cy;
};

struct DepthPicture {
    const unsigned short *depth;  // width * height values, row after row
    unsigned int width;
    unsigned int height;
    float unitMm;  // what a value of 1 means
};

class PinholeOptions {
public:
    /// Adds --scale, --fx, --fy, --cx and --cy; `otherwise` tells what is taken without the last
    /// four.
    PinholeOptions(CLI::App &options, const std::string &otherwise);
    PinholeOptions(const PinholeOptions &) = delete;
    PinholeOptions &operator=(const PinholeOptions &) = delete;

    float scale() const { return m_scale; }
    bool complete() const { return m_fx && m_fy && m_cx && m_cy; }
    /// What the user gave, and `known` for the rest.
    Pinhole over(const Pinhole &known) const;

private:
    float m_scale = 1000;
    std::optional<float> m_fx;
    std::optional<float> m_fy;
    std::optional<float> m_cx;
    std::optional<float> m_cy;
};

/// What a depth of 1 means in a depth format, millimetres.
float depthUnitMm(unsigned int pixelFormat);

/// One point a pixel, (0, 0, 0) for those without depth, in millimetres / scale; the comments state
/// units, axes and camera. Works on a context that is not initialized.
PointCloudFile pinholeCloud(NubrixBaseContext &context, const DepthPicture &picture, float scale,
                            const Pinhole &camera);

/// The comment that states unit and axes: "x right, y down, z away from the camera".
std::string axesComment(float scale, const std::string &axes);

}  // namespace nubrix
