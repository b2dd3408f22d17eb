// What does the room look like in three dimensions? Writes the points of one depth frame, in
// metres, into a PLY file, which viewers and libraries for point clouds open.
//
//     point_cloud [FILE]                 cloud.ply without a name
#include <nubrix/client.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

using namespace nubrix::client;

using Points = std::vector<typedefNubrixPoint3D>;  // three floats each: x, y, z

static void writePly(const std::string &path, const Points &points)
{
    std::ofstream file(path, std::ios::binary);
    file << "ply\nformat binary_little_endian 1.0\n"
         << "comment metres, x right, y down, z away from the camera\n"
         << "element vertex " << points.size()
         << "\nproperty float x\nproperty float y\nproperty float z\nend_header\n";
    file.write(reinterpret_cast<const char *>(points.data()),
               static_cast<std::streamsize>(points.size() * sizeof(points[0])));
    if (!file.flush())  // the folder does not exist, or the disk is full
        throw std::runtime_error(path + " cannot be written");
}

int main(int argc, char **argv)
{
    const std::string path = argc > 1 ? argv[1] : "cloud.ply";
    try {
        Camera camera = Session().open();
        const Frame frame = camera.start(StreamType::kDepth).nextComplete();
        // The focal length and the middle of the lens turn pixels into directions.
        Points points = pointCloud(frame, camera.intrinsics(StreamType::kDepth));
        // There is one point for each pixel; where nothing was measured z is 0.
        points.erase(std::remove_if(points.begin(), points.end(),
                                    [](const typedefNubrixPoint3D &point) { return point.z == 0; }),
                     points.end());
        writePly(path, points);
        std::printf("%zu points of frame %u in %s\n", points.size(), frame.index(), path.c_str());
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
