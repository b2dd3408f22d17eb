// How is an object cut out of its background? Writes a coloured PLY file of what is nearer than a
// limit. A pixel of colour must show the same point as that of depth, as on the virtual camera.
//
//     coloured_cloud [FILE [MILLIMETRES]]        cloud.ply and 2500 without arguments
#include <nubrix/client.h>
#include <nubrix/image.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
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
        // Half of the time between two depth frames: some colour frame is always that near to one.
        const int rate = camera.mode(StreamType::kDepth).value_or(Mode()).framesPerSecond;
        const std::chrono::duration<double> together(0.5 / rate);
        for (int tries = 0; std::chrono::abs(depth.time() - color.time()) > together; ++tries) {
            if (tries == 100)
                throw std::runtime_error("frames are lost: none of colour and depth fit together");
            const bool isDepthOlder = depth.time() < color.time();
            (isDepthOlder ? depth : color) = (isDepthOlder ? depths : colors).nextComplete();
        }
        if (depth.width() != color.width() || depth.height() != color.height())
            throw std::runtime_error("the streams differ in size; choose with Camera::setMode");

        const auto points = pointCloud(depth, camera.intrinsics(StreamType::kDepth));
        const RGB888Pixel *const pixels = color.image<RGB888Pixel>().data;
        std::size_t count = 0;
        std::string body;
        for (std::size_t i = 0; i < points.size(); ++i) {
            if (points[i].z == 0 || points[i].z > limit)
                continue;  // nothing was measured, or it is background
            body.append(reinterpret_cast<const char *>(&points[i]), sizeof(points[i]));
            body.append(reinterpret_cast<const char *>(&pixels[i]), sizeof(pixels[i]));
            ++count;
        }
        std::ofstream file(path, std::ios::binary);
        file << "ply\nformat binary_little_endian 1.0\nelement vertex " << count
             << "\nproperty float x\nproperty float y\nproperty float z\nproperty uchar red\n"
             << "property uchar green\nproperty uchar blue\nend_header\n"
             << body;
        if (!file.flush())
            throw std::runtime_error(path + " cannot be written");
        std::printf("%zu of %zu points of frame %u\n", count, points.size(), depth.index());
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
