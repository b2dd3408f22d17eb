// How is an object cut out of its background? Writes a coloured point cloud of what is nearer than
// a limit into a PLY file.
//
//     coloured_cloud [FILE [MILLIMETRES]]        cloud.ply and 2500 without arguments
//
// A pixel of the colour frame must show the same point as that pixel of the depth frame. It does on
// the virtual camera, and on cameras that align their streams.
#include <nubrix/client.h>
#include <nubrix/image.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

using namespace nubrix::client;

int main(int argc, char **argv)
{
    const std::string path = argc > 1 ? argv[1] : "cloud.ply";
    const double limit = (argc > 2 ? std::atof(argv[2]) : 2500) / 1000;  // metres, as points have
    try {
        Camera camera = Session().open();
        Stream depths = camera.start(StreamType::kDepth);
        Stream colors = camera.start(StreamType::kColor);
        Frame depth = depths.nextComplete();
        Frame color = colors.nextComplete();
        // Two frames of the same moment: the older one is replaced until they fit.
        constexpr std::chrono::milliseconds kTogether(5);
        while (depth.time() - color.time() > kTogether || color.time() - depth.time() > kTogether) {
            if (depth.time() < color.time())
                depth = depths.nextComplete();
            else
                color = colors.nextComplete();
        }
        if (depth.width() != color.width() || depth.height() != color.height())
            throw std::runtime_error(
                "the streams differ in size; choose modes with Camera::setMode");

        const auto points = pointCloud(depth, camera.intrinsics(StreamType::kDepth));
        const RGB888Pixel *const pixels = color.image<RGB888Pixel>().data;
        std::size_t count = 0;
        std::ostringstream body;
        for (std::size_t i = 0; i < points.size(); ++i) {
            if (points[i].z == 0 || points[i].z > limit)
                continue;  // nothing was measured, or it is background
            body.write(reinterpret_cast<const char *>(&points[i]), sizeof(points[i]));
            body.write(reinterpret_cast<const char *>(&pixels[i]), sizeof(pixels[i]));
            ++count;
        }
        std::ofstream file(path, std::ios::binary);
        file << "ply\nformat binary_little_endian 1.0\nelement vertex " << count
             << "\nproperty float x\nproperty float y\nproperty float z\n"
             << "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n"
             << body.str();
        if (!file.flush())
            throw std::runtime_error(path + " cannot be written");
        std::printf("%zu of %zu points of frame %u in %s\n", count, points.size(), depth.index(),
                    path.c_str());
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
