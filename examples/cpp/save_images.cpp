// How are images saved on a machine without a display? Writes colour and depth frames as PNG files,
// and images.csv: when each was captured, and the millimetres of a depth value.
//
//     save_images [FOLDER [FRAMES]]      5 of each stream into images/ without arguments
#include <nubrix/client.h>
#include <nubrix/image.h>
#include <png.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

using namespace nubrix::client;

static void save(const Frame &frame, const std::string &folder, std::ostream &list)
{
    using namespace std::chrono;
    const bool isDepth = frame.type() == StreamType::kDepth;
    const std::string file = name(frame.type()) + ("-" + std::to_string(frame.index()) + ".png");
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.format = isDepth ? PNG_FORMAT_LINEAR_Y : PNG_FORMAT_RGB;  // depth: 16 bits grey
    image.width = static_cast<unsigned int>(frame.width());
    image.height = static_cast<unsigned int>(frame.height());
    const void *const pixels =  // throws when they are of another kind
        isDepth ? static_cast<const void *>(frame.image<unsigned short>().data)
                : frame.image<RGB888Pixel>().data;
    if (png_image_write_to_file(&image, (folder + "/" + file).c_str(), 0, pixels, 0, nullptr) == 0)
        throw std::runtime_error(folder + "/" + file + ": " + image.message);
    // Frames have the time of a clock that never jumps: this makes it the time of day.
    static const auto kOffset = system_clock::now() - steady_clock::now().time_since_epoch();
    const auto time = (kOffset + frame.time().time_since_epoch()).time_since_epoch();
    list << file << ',' << duration_cast<microseconds>(time).count() << ','
         << (isDepth ? std::to_string(frame.millimetresPerUnit()) : "-") << '\n';
}

int main(int argc, char **argv)
{
    const std::string folder = argc > 1 ? argv[1] : "images";
    const int frames = argc > 2 ? std::atoi(argv[2]) : 5;
    try {
        std::filesystem::create_directories(folder);
        std::ofstream list(folder + "/images.csv");
        list << "file,microseconds since 1970,millimetres per unit\n";
        Camera camera = Session().open();
        Stream color = camera.start(StreamType::kColor);
        Stream depth = camera.start(StreamType::kDepth);
        for (int i = 0; i < frames; ++i) {  // frames that come while it writes are skipped
            save(color.nextComplete(), folder, list);
            save(depth.nextComplete(), folder, list);
        }
        if (!list.flush())
            throw std::runtime_error(folder + "/images.csv cannot be written");
        std::printf("%d images in %s\n", 2 * frames, folder.c_str());
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
