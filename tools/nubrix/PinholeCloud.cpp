#include "PinholeCloud.h"

#include <cstdio>

namespace nubrix {

namespace {

std::string text(float value)
{
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%g", static_cast<double>(value));
    return buffer;
}

/// The format of this unit, otherwise that of the largest depths.
unsigned int fractionFormatOf(float unitMm)
{
    for (const unsigned int format : {NUBRIX_PIXEL_DEPTH_12_4, NUBRIX_PIXEL_DEPTH_13_3}) {
        if (depthUnitMm(format) == unitMm)
            return format;
    }
    return NUBRIX_PIXEL_DEPTH_14_2;
}

}  // namespace

PinholeOptions::PinholeOptions(CLI::App &options, const std::string &otherwise)
{
    options
        .add_option("--scale", m_scale, "Depths are divided by this; 1000: millimetres to metres")
        ->check(CLI::PositiveNumber)
        ->type_name("S")
        ->capture_default_str();
    options.add_option("--fx", m_fx, "Focal length in pixels; otherwise " + otherwise);
    options.add_option("--fy", m_fy, "Focal length in pixels");
    options.add_option("--cx", m_cx, "Principal point in pixels");
    options.add_option("--cy", m_cy, "Principal point in pixels");
    // The conversion takes anything else for "not known", and then a camera of its own.
    for (const char *name : {"--fx", "--fy", "--cx", "--cy"})
        options.get_option(name)->check(CLI::PositiveNumber)->type_name("PIXELS");
}

Pinhole PinholeOptions::over(const Pinhole &known) const
{
    return {m_fx.value_or(known.fx), m_fy.value_or(known.fy), m_cx.value_or(known.cx),
            m_cy.value_or(known.cy)};
}

float depthUnitMm(unsigned int pixelFormat)
{
    switch (pixelFormat) {
        case NUBRIX_PIXEL_DEPTH_12_4:
            return 0.0625F;
        case NUBRIX_PIXEL_DEPTH_13_3:
            return 0.125F;
        case NUBRIX_PIXEL_DEPTH_14_2:
            return 0.25F;
        default:
            return 1;
    }
}

PointCloudFile pinholeCloud(NubrixBaseContext &context, const DepthPicture &picture, float scale,
                            const Pinhole &camera)
{
    const unsigned int format = fractionFormatOf(picture.unitMm);
    PointCloudFile cloud;
    cloud.points.resize(std::size_t{picture.width} * picture.height);
    context.convertDepthToPointCloud(
        picture.depth, picture.width, picture.height, scale * depthUnitMm(format) / picture.unitMm,
        camera.fx, camera.fy, camera.cx, camera.cy, cloud.points.data(), format, true);
    cloud.comments = {axesComment(scale, "x right, y down, z away from the camera"),
                      "fx " + text(camera.fx) + ", fy " + text(camera.fy) + ", cx " +
                          text(camera.cx) + ", cy " + text(camera.cy) + " pixels"};
    return cloud;
}

std::string axesComment(float scale, const std::string &axes)
{
    return "millimetres / " + text(scale) + ", " + axes;
}

}  // namespace nubrix
