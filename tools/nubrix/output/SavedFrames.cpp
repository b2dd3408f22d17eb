#include "output/SavedFrames.h"

#include "output/ImageEncoder.h"
#include "output/OutputFile.h"

namespace nubrix::tool {

std::vector<std::string> saveFrame(const FrameCopy &frame, const std::string &base)
{
    if (frame.pixelFormat == NUBRIX_PIXEL_JPEG) {
        const std::string path = base + ".jpg";
        writeFile(path, {reinterpret_cast<const char *>(frame.data.data()), frame.data.size()});
        return {path};
    }
    const Image image = imageOf(frame);
    std::vector<std::string> paths = {base + ".png"};
    writePng(paths.back(), image);
    if (isDepth(frame.pixelFormat)) {
        paths.push_back(base + "-color.png");
        writePng(paths.back(), falseColour(image));
    }
    return paths;
}

void FirstAndLastFrame::add(const typedefNubrixFrame &frame)
{
    const auto *data = static_cast<const std::uint8_t *>(frame.data);
    m_last.pixelFormat = frame.pixelFormat;
    m_last.width = static_cast<unsigned int>(frame.width);
    m_last.height = static_cast<unsigned int>(frame.height);
    m_last.data.assign(data, data + frame.dataSize);
    if (!m_first)
        m_first = m_last;
}

std::vector<std::string> FirstAndLastFrame::save(const std::string &folder,
                                                 const std::string &name) const
{
    std::vector<std::string> paths;
    if (m_first) {
        paths = saveFrame(*m_first, folder + "/" + name + "-first");
        const std::vector<std::string> last = saveFrame(m_last, folder + "/" + name + "-last");
        paths.insert(paths.end(), last.begin(), last.end());
    }
    return paths;
}

}  // namespace nubrix::tool
