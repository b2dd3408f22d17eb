#include "FrameFile.h"

#include "OutputFile.h"
#include "PngWriter.h"

namespace nubrix {

std::vector<std::string> saveFrame(const FrameCopy &frame, const std::string &base)
{
    if (frame.pixelFormat == NUBRIX_PIXEL_JPEG) {
        const std::string path = base + ".jpg";
        writeFile(path, {reinterpret_cast<const char *>(frame.data.data()), frame.data.size()});
        return {path};
    }
    const Image image = imageOf(frame);
    std::vector<std::string> paths = {base + ".png"};
    PngWriter::write(paths.back(), image);
    if (isDepth(frame.pixelFormat)) {
        paths.push_back(base + "-color.png");
        PngWriter::write(paths.back(), falseColour(image));
    }
    return paths;
}

}  // namespace nubrix
