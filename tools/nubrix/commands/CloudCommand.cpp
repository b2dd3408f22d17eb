// nubrix cloud: one depth frame as a point cloud.
#include <iostream>
#include <stdexcept>
#include <string>
#include "commands/Command.h"
#include "commands/PinholeOptions.h"
#include "nubrix/client/session.h"
#include "output/FrameImage.h"

namespace nubrix::tool {

namespace {

DepthImage depthOf(const client::Frame &frame)
{
    return {frame.image<unsigned short>().data, static_cast<unsigned int>(frame.width()),
            static_cast<unsigned int>(frame.height()), depthUnitMm(frame.format())};
}

class CloudCommand final : public Command {
public:
    explicit CloudCommand(CLI::App &parent);
    void run() override;

private:
    PointCloudFile cloudOf(const client::Camera &camera, const client::Frame &frame) const;
    PointCloudFile colouredCloudOf(const client::Camera &camera, const client::Frame &frame) const;
    Pinhole pinholeOf(const client::Camera &camera) const;

    std::string m_uri;
    std::string m_out;
    bool m_rgba = false;
    PinholeOptions m_pinhole;
};

CloudCommand::CloudCommand(CLI::App &parent)
    : Command(parent, "cloud", "Save a depth frame as a point cloud (binary PLY)"),
      m_pinhole(app(), "the camera's intrinsics")
{
    addUri(m_uri);
    app().add_option("--out", m_out, "The file to write")->required()->type_name("FILE");
    app().add_flag("--rgba", m_rgba,
                   "Colour the points by depth. Uses the library's built-in camera, with y\n"
                   "upwards and z towards the camera");
    app().footer(R"(The points are in metres, x to the right, y down, z away from the camera, by
the intrinsics that the camera reports. The comments of the file state both.

Examples:
  nubrix cloud --out cloud.ply
      The next depth frame of the first camera.
  nubrix cloud usb:1-2 --out cloud.ply --fx 520 --fy 520 --cx 319.5 --cy 239.5
      That of one camera with intrinsics that were measured.
  nubrix cloud --out cloud.ply --rgba
      Points in false colours.)");
}

Pinhole CloudCommand::pinholeOf(const client::Camera &camera) const
{
    if (m_pinhole.complete())
        return m_pinhole.over({});
    try {
        const auto [fx, fy, cx, cy] = camera.intrinsics(client::StreamType::kDepth);
        return m_pinhole.over({fx, fy, cx, cy});
    } catch (const client::Error &) {
        throw std::runtime_error("the camera reports no intrinsics; set --fx, --fy, --cx and --cy");
    }
}

PointCloudFile CloudCommand::cloudOf(const client::Camera &camera, const client::Frame &frame) const
{
    if (!isDepth(frame.format()))
        throw std::runtime_error("depths of this pixel format have no unit: choose another mode");
    return pinholeCloud(camera.context(), depthOf(frame), m_pinhole.scale(), pinholeOf(camera));
}

PointCloudFile CloudCommand::colouredCloudOf(const client::Camera &camera,
                                             const client::Frame &frame) const
{
    if (!isDepth(frame.format()) || frame.format() == NUBRIX_PIXEL_DEPTH_MM)
        throw std::runtime_error(
            "depths of this pixel format cannot be coloured: choose a mode with fractions");
    const DepthImage image = depthOf(frame);
    PointCloudFile cloud;
    cloud.points.resize(std::size_t{image.width} * image.height);
    cloud.colours.resize(cloud.points.size());
    camera.context().convertDepthToPointCloudWithRGBA(
        image.depth, image.width, image.height, m_pinhole.scale(), 0, 0, 0, 0, cloud.points.data(),
        cloud.colours.data(), frame.format(), false);
    cloud.comments = {axesComment(m_pinhole.scale(), "x right, y up, z towards the camera"),
                      "colours: depth, from near (blue) to far (red)"};
    return cloud;
}

void CloudCommand::run()
{
    client::Camera camera = client::Session().open(m_uri);
    const client::Frame frame = camera.start(client::StreamType::kDepth).nextComplete();
    const std::size_t points =
        writePly(m_out, m_rgba ? colouredCloudOf(camera, frame) : cloudOf(camera, frame));
    if (json()) {
        printJson({{"file", m_out},
                   {"points", points},
                   {"width", frame.width()},
                   {"height", frame.height()}});
    } else {
        std::cout << "saved " << m_out << ", " << points << " points\n";
    }
}

}  // namespace

std::unique_ptr<Command> makeCloudCommand(CLI::App &parent)
{
    return std::make_unique<CloudCommand>(parent);
}

}  // namespace nubrix::tool
