// nubrix convert: a raw image of a camera as a PNG file.
#include <nubrix/image.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>
#include "commands/Command.h"
#include "output/FrameImage.h"
#include "output/ImageEncoder.h"

namespace nubrix::tool {

namespace {

struct Size {
    unsigned int width = 0;
    unsigned int height = 0;
};

constexpr unsigned int kMaxSide = 32767;

/// Parses "640x480"; 0 x 0 for any other text.
Size sizeOf(const std::string &text)
{
    Size size;
    char end = 0;
    const int read = std::sscanf(text.c_str(), "%5ux%5u%c", &size.width, &size.height, &end);
    const bool valid = read == 2 && text.find_first_not_of("0123456789x") == std::string::npos &&
                       size.width > 0 && size.height > 0 && size.width <= kMaxSide &&
                       size.height <= kMaxSide;
    return valid ? size : Size();
}

std::string checkSize(const std::string &text)
{
    return sizeOf(text).width > 0 ? "" : "'" + text + "' is not a size such as 640x480";
}

bool isPacked(const std::string &from)
{
    return from == "yuyv" || from == "uyvy";
}

/// The size of a raw image in bytes; throws a std::runtime_error for an odd size that the format
/// cannot have.
std::size_t bytesOf(const std::string &from, const Size &size)
{
    const std::size_t pixels = std::size_t{size.width} * size.height;
    if (from == "grey16")
        return 2 * pixels;
    if (size.width % 2 != 0 || (size.height % 2 != 0 && !isPacked(from)))
        throw std::runtime_error(from + (isPacked(from) ? " images need an even width"
                                                        : " images need an even width and height"));
    return isPacked(from) ? 2 * pixels : pixels / 2 * 3;
}

template <class T>
T *pixelsOf(Image &image)
{
    return static_cast<T *>(static_cast<void *>(image.samples.data()));
}

template <class T>
Image rotated(Image &image, int degrees)
{
    Image result = image;
    T *const from = pixelsOf<T>(image);
    T *const to = pixelsOf<T>(result);
    const auto width = static_cast<int>(image.width);
    const auto height = static_cast<int>(image.height);
    if (degrees == 180) {
        rotateClockwise180(from, width, height, to);
        return result;
    }
    if (degrees == 90)
        rotateClockwise90(from, width, height, to);
    else
        rotateAnticlockwise90(from, width, height, to);
    std::swap(result.width, result.height);
    return result;
}

template <class T>
void turn(Image &image, int degrees, bool mirror)
{
    if (degrees != 0)
        image = rotated<T>(image, degrees);
    if (mirror) {
        mirrorPixels(pixelsOf<T>(image), static_cast<int>(image.width),
                     static_cast<int>(image.height));
    }
}

class ConvertCommand final : public Command {
public:
    explicit ConvertCommand(CLI::App &parent);
    void run() override;

private:
    std::vector<unsigned char> read() const;
    Image convert(std::vector<unsigned char> &raw) const;

    std::string m_in;
    std::string m_from;
    std::string m_size;
    std::string m_out;
    int m_rotate = 0;
    bool m_mirror = false;
};

ConvertCommand::ConvertCommand(CLI::App &parent)
    : Command(parent, "convert", "Save a raw image of a camera as PNG")
{
    CLI::App &options = app();
    options.add_option("IN", m_in, "The raw image: its bytes and nothing else")->required();
    options.add_option("--from", m_from, "Its format")
        ->required()
        ->check(CLI::IsMember({"yuyv", "uyvy", "nv21", "i420", "grey16"}))
        ->type_name("FORMAT");
    options.add_option("--size", m_size, "Its width and height")
        ->required()
        ->type_name("WxH")
        ->check(CLI::Validator(checkSize, ""));
    options.add_option("--out", m_out, "The file to write")->required()->type_name("FILE.png");
    options.add_option("--rotate", m_rotate, "Turn it clockwise by degrees")
        ->check(CLI::IsMember({90, 180, 270}))
        ->type_name("DEGREES");
    options.add_flag("--mirror", m_mirror, "Swap left and right, after turning");
    options.footer(R"(The file has the size that --from and --size require. grey16 becomes a PNG of
16 bits, as depth needs; the others become colours of 8 bits.

Examples:
  nubrix convert frame.yuyv --from yuyv --size 640x480 --out frame.png
      A colour image.
  nubrix convert depth.raw --from grey16 --size 640x480 --rotate 90 --out depth.png
      A depth image of a camera that is mounted sideways.)");
}

std::vector<unsigned char> ConvertCommand::read() const
{
    const std::size_t expected = bytesOf(m_from, sizeOf(m_size));
    std::FILE *const file = std::fopen(m_in.c_str(), "rbe");
    if (file == nullptr)
        throw std::runtime_error("cannot read " + m_in + ": " + std::strerror(errno));
    // Memory grows with the content of the file, not with the size that the user states.
    constexpr std::size_t kChunkBytes = 1 << 20;
    std::vector<unsigned char> raw;
    std::size_t count = 0;
    errno = 0;
    while (count == raw.size() && count <= expected) {
        raw.resize(count + kChunkBytes);
        count += std::fread(raw.data() + count, 1, kChunkBytes, file);
    }
    const int error = std::ferror(file) != 0 ? errno : 0;
    std::fclose(file);
    if (error != 0)
        throw std::runtime_error("cannot read " + m_in + ": " + std::strerror(error));
    if (count != expected) {
        throw std::runtime_error(m_in + ": a " + m_size + " image in " + m_from + " has " +
                                 std::to_string(expected) + " bytes, the file has " +
                                 (count > expected ? "more" : std::to_string(count)));
    }
    raw.resize(expected);
    return raw;
}

Image ConvertCommand::convert(std::vector<unsigned char> &raw) const
{
    const Size size = sizeOf(m_size);
    if (m_from == "grey16")
        return {size.width, size.height, 1, 16, std::move(raw)};
    Image image{size.width, size.height, 3, 8, {}};
    image.samples.resize(std::size_t{3} * size.width * size.height);
    const auto width = static_cast<int>(size.width);
    const auto height = static_cast<int>(size.height);
    auto produced = static_cast<unsigned int>(image.samples.size());
    unsigned int consumed = 0;
    if (m_from == "yuyv") {
        YUV422ToRGB(image.samples.data(), raw.data(), size.width, size.height);
    } else if (m_from == "uyvy") {
        YUV422ToRGB888(raw.data(), image.samples.data(), static_cast<unsigned int>(raw.size()),
                       &consumed, &produced);
    } else if (m_from == "nv21") {
        YUVNV21ToRGB888(image.samples.data(), raw.data(), width, height);
    } else {
        YUVI420ToRGB888(image.samples.data(), raw.data(), width, height);
    }
    return image;
}

void ConvertCommand::run()
{
    std::vector<unsigned char> raw = read();
    Image image = convert(raw);
    if (image.bits == 16)
        turn<unsigned short>(image, m_rotate, m_mirror);
    else
        turn<RGB888Pixel>(image, m_rotate, m_mirror);
    writePng(m_out, image);
    if (json()) {
        printJson({{"file", m_out},
                   {"width", image.width},
                   {"height", image.height},
                   {"channels", image.channels},
                   {"bits", image.bits}});
    } else {
        std::cout << "saved " << m_out << ", " << image.width << " x " << image.height << "\n";
    }
}

}  // namespace

std::unique_ptr<Command> makeConvertCommand(CLI::App &parent)
{
    return std::make_unique<ConvertCommand>(parent);
}

}  // namespace nubrix::tool
