#include "CloudCommand.h"

#include <iostream>

#include "Failure.h"
#include "FrameImage.h"
#include "FrameWait.h"
#include "PlyFile.h"

namespace nubrix {

namespace {

constexpr unsigned int kIntrinsics = 0x5600;  // plus the stream type: floats fx, fy, cx, cy

std::string text(float value)
{
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%g", static_cast<double>(value));
    return buffer;
}

}  // namespace

CloudCommand::CloudCommand(CLI::App &parent)
    : Command(parent, "cloud", "Save a depth picture as a point cloud (binary PLY)")
{
    addUri(m_uri);
    CLI::App &options = app();
    options.add_option("--out", m_out, "The file to write")->required()->type_name("FILE");
    options.add_flag("--rgba", m_rgba,
                     "Colour the points by depth. Uses the library's built-in camera, with y\n"
                     "upwards and z towards the camera");
    options
        .add_option("--scale", m_scale, "Depths are divided by this; 1000: millimetres to metres")
        ->check(CLI::PositiveNumber)
        ->type_name("S")
        ->capture_default_str();
    options.add_option("--fx", m_fx, "Focal length in pixels; otherwise what the camera says");
    options.add_option("--fy", m_fy, "Focal length in pixels");
    options.add_option("--cx", m_cx, "Principal point in pixels");
    options.add_option("--cy", m_cy, "Principal point in pixels");
}

CloudCommand::Intrinsics CloudCommand::intrinsicsOf(Camera &camera) const
{
    float told[4] = {};
    unsigned int size = sizeof(told);
    const bool all = m_fx && m_fy && m_cx && m_cy;
    if (!all && camera.context().getDeviceProperty(
                    camera.handle(), kIntrinsics + NUBRIX_STREAM_DEPTH, told, &size) != 0)
        throw Failure("the camera does not tell its intrinsics; give --fx, --fy, --cx and --cy");
    return {m_fx.value_or(told[0]), m_fy.value_or(told[1]), m_cx.value_or(told[2]),
            m_cy.value_or(told[3])};
}

void CloudCommand::run()
{
    Session session;
    Camera camera(session, m_uri);
    const FrameWait wait(camera, *streamKind("depth"));
    const typedefNubrixFrame &frame = wait.frame();
    const auto width = static_cast<unsigned int>(frame.width);
    const auto height = static_cast<unsigned int>(frame.height);
    const auto *const depth = static_cast<const unsigned short *>(frame.data);
    if (!isDepth(frame.pixelFormat) || frame.pixelFormat == NUBRIX_PIXEL_DEPTH_MM)
        throw Failure(
            "depths of this pixel format cannot be converted: choose a mode with fractions");
    PointCloudFile cloud;
    cloud.points.resize(std::size_t{width} * height);
    if (m_rgba) {
        cloud.colours.resize(cloud.points.size());
        session.context().convertDepthToPointCloudWithRGBA(
            depth, width, height, m_scale, 0, 0, 0, 0, cloud.points.data(), cloud.colours.data(),
            frame.pixelFormat, false);
        cloud.comments = {
            "millimetres / " + text(m_scale) + ", x right, y up, z towards the camera",
            "colours: depth, from near (blue) to far (red)"};
    } else {
        const Intrinsics camera4 = intrinsicsOf(camera);
        session.context().convertDepthToPointCloud(depth, width, height, m_scale, camera4.fx,
                                                   camera4.fy, camera4.cx, camera4.cy,
                                                   cloud.points.data(), frame.pixelFormat, true);
        cloud.comments = {
            "millimetres / " + text(m_scale) + ", x right, y down, z away from the camera",
            "fx " + text(camera4.fx) + ", fy " + text(camera4.fy) + ", cx " + text(camera4.cx) +
                ", cy " + text(camera4.cy) + " pixels"};
    }
    const std::size_t points = writePly(m_out, cloud);
    if (json())
        printJson({{"file", m_out}, {"points", points}, {"width", width}, {"height", height}});
    else
        std::cout << "saved " << m_out << ", " << points << " points\n";
}

}  // namespace nubrix
