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
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

using namespace nubrix::client;

// Throws also when the pixels of the frame are of another kind.
template <class Pixel>
static void writePng(const std::string &path, const Frame &frame, unsigned int format)
{
    const Image<Pixel> pixels = frame.image<Pixel>();
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.format = format;
    image.width = static_cast<unsigned int>(pixels.width);
    image.height = static_cast<unsigned int>(pixels.height);
    if (png_image_write_to_file(&image, path.c_str(), 0, pixels.data, 0, nullptr) == 0)
        throw std::runtime_error(path + ": " + image.message);
}

static void save(const Frame &frame, const std::string &folder, std::ostream &list)
{
    using namespace std::chrono;
    // Frames have the time of a clock that never jumps. Here it becomes the time of day.
    const auto time = system_clock::now() - (steady_clock::now() - frame.time());
    const std::string file = name(frame.type()) + ("-" + std::to_string(frame.index()) + ".png");
    list << file << ',' << duration_cast<microseconds>(time.time_since_epoch()).count() << ',';
    if (frame.type() == StreamType::kDepth) {
        writePng<unsigned short>(folder + "/" + file, frame, PNG_FORMAT_LINEAR_Y);  // 16 bits grey
        list << frame.millimetresPerUnit() << '\n';
    } else {
        writePng<RGB888Pixel>(folder + "/" + file, frame, PNG_FORMAT_RGB);
        list << "-\n";
    }
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
            const Frame colorFrame = color.nextComplete();
            const Frame depthFrame = depth.nextComplete();
            save(colorFrame, folder, list);
            save(depthFrame, folder, list);
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
