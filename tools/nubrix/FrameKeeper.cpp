#include "FrameKeeper.h"

#include "FrameFile.h"

namespace nubrix {

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
        paths = saveFrame(*m_first, folder + "/" + name + "-first");
        const std::vector<std::string> last = saveFrame(m_last, folder + "/" + name + "-last");
        paths.insert(paths.end(), last.begin(), last.end());
    }
    return paths;
}

}  // namespace nubrix
