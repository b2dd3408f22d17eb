// The recipe for PCL of docs/client.md, word for word, on one frame.
#include <pcl/point_cloud.h>
#include <pcl/point_types.h>

#include <cmath>
#include <cstdint>

#include "nubrix/client.h"

using namespace nubrix::client;

int main()
{
    Camera camera = Session().open();
    const Frame frame = camera.start(StreamType::kDepth).nextComplete();
    pcl::PointCloud<pcl::PointXYZ> cloud;
    for (const auto &point : pointCloud(frame, camera.intrinsics(StreamType::kDepth)))
        cloud.push_back(pcl::PointXYZ(point.x, point.y, point.z));
    cloud.width = static_cast<std::uint32_t>(frame.width());
    cloud.height = static_cast<std::uint32_t>(frame.height());
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            if (std::abs(static_cast<double>(cloud.at(x, y).z) * 1000 - frame.millimetres(x, y)) >
                0.001)
                return 1;
        }
    }
    return cloud.isOrganized() ? 0 : 1;
}
