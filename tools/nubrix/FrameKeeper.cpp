#include "FrameKeeper.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "Failure.h"
#include "PngWriter.h"

namespace nubrix {

namespace {

void writeFile(const std::string &path, const std::vector<std::uint8_t> &data)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char *>(data.data()),
               static_cast<std::streamsize>(data.size()));
    file.close();
    if (!file)
        throw Failure("cannot write " + path + ": " + std::strerror(errno));
}

void saveFrame(const FrameCopy &frame, const std::string &base, std::vector<std::string> &paths)
{
    if (frame.pixelFormat == NUBRIX_PIXEL_JPEG) {
        paths.push_back(base + ".jpg");
        writeFile(paths.back(), frame.data);
        return;
    }
    const Image image = imageOf(frame);
    paths.push_back(base + ".png");
    PngWriter::write(paths.back(), image);
    if (isDepth(frame.pixelFormat)) {
        paths.push_back(base + "-color.png");
        PngWriter::write(paths.back(), falseColour(image));
    }
}

}  // namespace

void FrameKeeper::keep(const typedefNubrixFrame &frame)
{
    const auto *data = static_cast<const std::uint8_t *>(frame.data);
    m_last.pixelFormat = frame.pixelFormat;
    m_last.width = static_cast<unsigned int>(frame.width);
    m_last.height = static_cast<unsigned int>(frame.height);
    m_last.data.assign(data, data + frame.dataSize);
    if (!m_first)
        m_first = m_last;
}

std::vector<std::string> FrameKeeper::save(const std::string &folder, const std::string &name) const
{
    std::vector<std::string> paths;
    if (m_first) {
        saveFrame(*m_first, folder + "/" + name + "-first", paths);
        saveFrame(m_last, folder + "/" + name + "-last", paths);
    }
    return paths;
}

}  // namespace nubrix
