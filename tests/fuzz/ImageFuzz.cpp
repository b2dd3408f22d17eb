// Any bytes at all as an image file of a scenario: what is read has its size, what is not has a
// reason.
#include <algorithm>
#include <string>
#include <string_view>

#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/MemoryFile.h"
#include "virtual/ImageSource.h"

namespace nubrix::virtual_camera {
namespace {

constexpr unsigned int kLargestSide = 8192;

void check(const Image &image, std::size_t bytesPerPixel)
{
    if (!image.error.empty()) {
        require(std::all_of(image.error.begin(), image.error.end(),
                            [](char c) { return c >= 0x20 && c < 0x7f; }),
                "an error is one readable line");
        return;
    }
    require(image.width >= 1 && image.width <= kLargestSide, "the width has limits");
    require(image.height >= 1 && image.height <= kLargestSide, "the height has limits");
    require(image.pixels.size() == std::size_t{image.width} * image.height * bytesPerPixel,
            "every pixel is there");
}

}  // namespace
}  // namespace nubrix::virtual_camera

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t sizeBytes)
{
    using namespace nubrix;
    using namespace nubrix::virtual_camera;
    const MemoryFile file(std::string_view(reinterpret_cast<const char *>(data), sizeBytes));
    const Image color = readColorImage(file.path());
    check(color, 3);
    const Image depth = readDepthImage(file.path());
    check(depth, 2);
    if (depth.error.empty()) {
        require(color.error.empty() && color.width == depth.width && color.height == depth.height,
                "a depth image is a colour image, too");
        require(readDepthImage(file.path()).pixels == depth.pixels, "it is read the same again");
    }
    return 0;
}
