#include "BmpWriter.h"

#include "LittleEndian.h"
#include "OutputFile.h"

namespace nubrix {

namespace {

constexpr unsigned int kHeaderBytes = 54;
constexpr unsigned int kInfoBytes = 40;

std::string headerOf(const Image &image, std::size_t pixelBytes)
{
    std::string header = "BM";
    putLittle(header, kHeaderBytes + pixelBytes, 4);
    putLittle(header, 0, 4);
    putLittle(header, kHeaderBytes, 4);
    putLittle(header, kInfoBytes, 4);
    putLittle(header, image.width, 4);
    putLittle(header, image.height, 4);
    putLittle(header, 1, 2);   // planes
    putLittle(header, 24, 2);  // bits of a pixel
    putLittle(header, 0, 4);   // not compressed
    putLittle(header, pixelBytes, 4);
    header.resize(kHeaderBytes);  // no resolution, no palette
    return header;
}

}  // namespace

void writeBmp(const std::string &path, const Image &image)
{
    const std::size_t rowBytes = (std::size_t{image.width} * 3 + 3) / 4 * 4;
    std::string bytes = headerOf(image, rowBytes * image.height);
    bytes.reserve(bytes.size() + rowBytes * image.height);
    for (std::size_t row = image.height; row-- > 0;) {
        const std::uint8_t *pixel = &image.samples[row * image.width * image.channels];
        for (std::size_t x = 0; x < image.width; ++x, pixel += image.channels) {
            for (std::size_t i = 3; i-- > 0;)  // blue comes first
                bytes += static_cast<char>(pixel[image.channels == 3 ? i : 0]);
        }
        bytes.append(rowBytes - std::size_t{image.width} * 3, '\0');
    }
    writeFile(path, bytes);
}

}  // namespace nubrix
