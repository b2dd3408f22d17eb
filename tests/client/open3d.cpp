// The recipe for Open3D of docs/client.md, word for word, on one frame.
#include <open3d/geometry/PointCloud.h>

#include <cmath>

#include "nubrix/client.h"

using namespace nubrix::client;

int main()
{
    Camera camera = Session().open();
    const Frame frame = camera.start(StreamType::kDepth).nextComplete();
    open3d::geometry::PointCloud cloud;
    for (const auto &point : pointCloud(frame, camera.intrinsics(StreamType::kDepth))) {
        if (point.z > 0)
            cloud.points_.emplace_back(point.x, point.y, point.z);
    }
    // The virtual camera measures everywhere.
    if (cloud.points_.size() != static_cast<std::size_t>(frame.width() * frame.height()))
        return 1;
    return std::abs(cloud.points_[0].z() * 1000 - frame.millimetres(0, 0)) < 0.001 ? 0 : 1;
}
