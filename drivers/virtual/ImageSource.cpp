#include "virtual/ImageSource.h"

#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

#include "virtual/Report.h"

namespace nubrix {

namespace {

namespace fs = std::filesystem;

const std::vector<typedefNubrixFrameMode> kNoModes;

/// Cuts a suffix off; false if the name does not end in it or is nothing else.
bool cutSuffix(std::string &name, const std::string &suffix)
{
    if (name.size() <= suffix.size() ||
        name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
        return false;
    name.resize(name.size() - suffix.size());
    return true;
}

bool cutColorSuffix(std::string &name)
{
    return cutSuffix(name, ".color.png") || cutSuffix(name, ".color.jpg") ||
           cutSuffix(name, ".color.jpeg");
}

struct Pair {
    std::string color;
    std::string depth;
};

std::string inQuotes(const std::string &path)
{
    return "\"" + path + "\"";
}

}  // namespace

unsigned int depthFormatOf(double unitMm)
{
    if (unitMm == 1.0)
        return NUBRIX_PIXEL_DEPTH_MM;
    if (unitMm == 0.25)
        return NUBRIX_PIXEL_DEPTH_14_2;
    if (unitMm == 0.125)
        return NUBRIX_PIXEL_DEPTH_13_3;
    return unitMm == 0.0625 ? NUBRIX_PIXEL_DEPTH_12_4 : NUBRIX_PIXEL_GREY16;
}

std::variant<std::shared_ptr<ImageSource>, ScenarioError> ImageSource::create(
    const ImagesSetup &setup, int frameRate, std::size_t keptBytes)
{
    std::shared_ptr<ImageSource> source(new ImageSource(setup, keptBytes));
    std::string wrong = source->findImages();
    if (wrong.empty())
        wrong = source->readAll(source->m_color, false, frameRate);
    if (wrong.empty())
        wrong = source->readAll(source->m_depth, true, frameRate);
    if (!wrong.empty())
        return ScenarioError{"images.folder", setup.folderLine, wrong};
    return source;
}

std::string ImageSource::findImages()
{
    std::error_code failure;
    fs::directory_iterator folder(m_setup.folder, failure);
    if (failure)
        return "the folder " + inQuotes(m_setup.folder) + " cannot be read: " + failure.message();
    std::map<std::string, Pair> pairs;
    for (const fs::directory_iterator end; folder != end && !failure; folder.increment(failure)) {
        const std::string path = folder->path().string();
        std::string name = folder->path().filename().string();
        if (cutColorSuffix(name)) {
            if (!std::exchange(pairs[name].color, path).empty())
                return "there are two colour images " + inQuotes(name);
        } else if (cutSuffix(name, ".depth.png")) {
            pairs[name].depth = path;
        }
    }
    if (failure)
        return "the folder " + inQuotes(m_setup.folder) + " cannot be read: " + failure.message();
    if (pairs.empty())
        return "the folder " + inQuotes(m_setup.folder) +
               " holds no images NAME.color.png, NAME.color.jpg or NAME.depth.png";
    for (const auto &[name, pair] : pairs) {
        if (!pair.color.empty())
            m_color.entries.push_back({pair.color, {}});
        if (!pair.depth.empty())
            m_depth.entries.push_back({pair.depth, {}});
    }
    for (const auto &[name, pair] : pairs) {
        if (pair.color.empty() && !m_color.entries.empty())
            return "the image " + inQuotes(pair.depth) + " has no colour image beside it";
        if (pair.depth.empty() && !m_depth.entries.empty())
            return "the image " + inQuotes(pair.color) + " has no depth image beside it";
    }
    return "";
}

std::string ImageSource::readAll(Series &series, bool isDepth, int frameRate)
{
    for (Entry &entry : series.entries) {
        Image image = isDepth ? readDepthImage(entry.path) : readColorImage(entry.path);
        if (!image.error.empty())
            return "the image " + inQuotes(entry.path) + " cannot be read: " + image.error;
        if (series.modes.empty()) {
            series.modes.push_back(
                {isDepth ? depthFormatOf(m_setup.depthUnitMm) : NUBRIX_PIXEL_RGB888,
                 static_cast<unsigned short>(image.width),
                 static_cast<unsigned short>(image.height), static_cast<signed char>(frameRate)});
        }
        const typedefNubrixFrameMode &mode = series.modes.front();
        if (image.width != mode.width || image.height != mode.height)
            return "the image " + inQuotes(entry.path) + " differs in size from those before it";
        if (image.pixels.size() <= m_room) {
            m_room -= image.pixels.size();
            entry.pixels = std::move(image.pixels);
        }
    }
    return "";
}

const std::vector<typedefNubrixFrameMode> &ImageSource::modes(unsigned int streamType) const
{
    if (streamType == NUBRIX_STREAM_COLOR)
        return m_color.modes;
    return streamType == NUBRIX_STREAM_DEPTH ? m_depth.modes : kNoModes;
}

FrameSource::Result ImageSource::fill(unsigned int streamType, const typedefNubrixFrameMode &mode,
                                      std::uint32_t frameIndex, std::uint8_t *data)
{
    const bool isDepth = streamType == NUBRIX_STREAM_DEPTH;
    const std::vector<Entry> &entries = isDepth ? m_depth.entries : m_color.entries;
    if (!m_setup.loop && frameIndex >= entries.size())
        return Result::kEnd;
    const Entry &entry = entries[frameIndex % entries.size()];
    if (!entry.pixels.empty()) {
        std::memcpy(data, entry.pixels.data(), entry.pixels.size());
        return Result::kFilled;
    }
    const Image image = isDepth ? readDepthImage(entry.path) : readColorImage(entry.path);
    if (!image.error.empty() || image.width != mode.width || image.height != mode.height) {
        report("the image \"" + entry.path +
               "\" is lost: " + (image.error.empty() ? "its size has changed" : image.error));
        return Result::kLost;
    }
    std::memcpy(data, image.pixels.data(), image.pixels.size());
    return Result::kFilled;
}

std::optional<Intrinsics> ImageSource::intrinsics(unsigned int /*streamType*/,
                                                  const typedefNubrixFrameMode & /*mode*/) const
{
    return m_setup.intrinsics;
}

std::optional<double> ImageSource::trueDepth(const typedefNubrixFrameMode & /*mode*/,
                                             std::uint32_t /*frameIndex*/, unsigned int /*x*/,
                                             unsigned int /*y*/) const
{
    return std::nullopt;
}

}  // namespace nubrix
