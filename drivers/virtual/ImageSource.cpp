#include "virtual/ImageSource.h"

#include <png.h>
#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>
#include <utility>

#include "common/JpegDecoder.h"

namespace nubrix::virtual_camera {

namespace {

constexpr unsigned int kLargestSide = 8192;
constexpr unsigned int kLargestChunk = 8U << 20U;
constexpr std::size_t kMessageSize = 200;

struct Closer {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

// libpng reports errors by longjmp, which runs no destructors: functions that call setjmp hold no
// object that has one.

struct PngReader {
    png_structp png = nullptr;
    png_infop info = nullptr;
    bool asDepth = false;
    char message[kMessageSize] = "";

    PngReader() = default;
    PngReader(const PngReader &) = delete;
    PngReader &operator=(const PngReader &) = delete;
    ~PngReader() { png_destroy_read_struct(&png, &info, nullptr); }
};

void onPngError(png_structp png, png_const_charp text)
{
    auto *reader = static_cast<PngReader *>(png_get_error_ptr(png));
    std::snprintf(reader->message, sizeof reader->message, "%s", text);
    png_longjmp(png, 1);
}

void onPngWarning(png_structp /*png*/, png_const_charp /*text*/)
{
}

bool openPng(PngReader &reader, std::FILE *file)
{
    reader.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reader, onPngError, onPngWarning);
    reader.info = reader.png == nullptr ? nullptr : png_create_info_struct(reader.png);
    if (reader.info == nullptr) {
        std::snprintf(reader.message, sizeof reader.message, "there is no memory for it");
        return false;
    }
    if (setjmp(png_jmpbuf(reader.png)) != 0)
        return false;
    png_set_user_limits(reader.png, kLargestSide, kLargestSide);
    png_set_chunk_malloc_max(reader.png, kLargestChunk);
    // Texts and profiles are skipped: one may claim a size of 2 GiB.
    png_set_keep_unknown_chunks(reader.png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_init_io(reader.png, file);
    png_read_info(reader.png, reader.info);
    if (reader.asDepth) {
        if (png_get_bit_depth(reader.png, reader.info) != 16 ||
            png_get_color_type(reader.png, reader.info) != PNG_COLOR_TYPE_GRAY)
            png_error(reader.png, "it is not a 16-bit grey PNG");
        if (std::endian::native == std::endian::little)
            png_set_swap(reader.png);
    } else {
        png_set_expand(reader.png);
        png_set_strip_16(reader.png);
        png_set_gray_to_rgb(reader.png);
        png_set_strip_alpha(reader.png);
    }
    png_set_interlace_handling(reader.png);
    png_read_update_info(reader.png, reader.info);
    return true;
}

bool readPngRows(PngReader &reader, png_bytepp rows)
{
    if (setjmp(png_jmpbuf(reader.png)) != 0)
        return false;
    png_read_image(reader.png, rows);
    png_read_end(reader.png, nullptr);
    return true;
}

Image readPng(std::FILE *file, bool asDepth)
{
    Image image;
    PngReader reader;
    reader.asDepth = asDepth;
    if (!openPng(reader, file)) {
        image.error = reader.message;
        return image;
    }
    image.width = png_get_image_width(reader.png, reader.info);
    image.height = png_get_image_height(reader.png, reader.info);
    const std::size_t stride = png_get_rowbytes(reader.png, reader.info);
    image.pixels.resize(stride * image.height);
    std::vector<png_bytep> rows(image.height);
    for (std::size_t y = 0; y < rows.size(); ++y)
        rows[y] = image.pixels.data() + y * stride;
    if (!readPngRows(reader, rows.data()))
        image.error = reader.message;
    return image;
}

Image readJpeg(std::FILE *file)
{
    Image image;
    JpegDecoder decoder(JpegDecoder::Damage::kRefused, {});
    if (!decoder.readHeader(file)) {
        image.error = decoder.error();
        return image;
    }
    if (decoder.width() > kLargestSide || decoder.height() > kLargestSide) {
        image.error = "it is too large";
        return image;
    }
    image.width = decoder.width();
    image.height = decoder.height();
    image.pixels.resize(std::size_t{3} * image.width * image.height);
    if (!decoder.decode(image.pixels.data()))
        image.error = decoder.error();
    return image;
}

Image readImage(const std::string &path, bool asDepth)
{
    const File file(std::fopen(path.c_str(), "rbe"));
    Image image;
    if (!file) {
        image.error = std::strerror(errno);
        return image;
    }
    unsigned char start[8] = {};
    const std::size_t got = std::fread(start, 1, sizeof start, file.get());
    std::rewind(file.get());
    if (png_sig_cmp(start, 0, got < 8 ? 1 : 8) == 0 && got == sizeof start)
        return readPng(file.get(), asDepth);
    if (!asDepth && start[0] == 0xFF && start[1] == 0xD8)
        return readJpeg(file.get());
    image.error = asDepth ? "it is not a 16-bit grey PNG" : "it is neither a PNG nor a JPEG";
    return image;
}

namespace fs = std::filesystem;

/// Removes a suffix; false if the name does not end in it or consists of it.
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

Image readColorImage(const std::string &path)
{
    return readImage(path, false);
}

Image readDepthImage(const std::string &path)
{
    return readImage(path, true);
}

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
            return "the image " + inQuotes(pair.depth) + " has no colour image next to it";
        if (pair.depth.empty() && !m_depth.entries.empty())
            return "the image " + inQuotes(pair.color) + " has no depth image next to it";
    }
    return "";
}

std::string ImageSource::readAll(Series &series, bool isDepth, int frameRate)
{
    for (Entry &entry : series.entries) {
        Image image = isDepth ? readDepthImage(entry.path) : readColorImage(entry.path);
        if (!image.error.empty())
            return "the image " + inQuotes(entry.path) + " cannot be read: " + image.error;
        if (series.modes.records.empty()) {
            series.modes.records.push_back(
                {isDepth ? depthFormatOf(m_setup.depthUnitMm) : NUBRIX_PIXEL_RGB888,
                 static_cast<unsigned short>(image.width),
                 static_cast<unsigned short>(image.height), static_cast<signed char>(frameRate)});
        }
        const typedefNubrixFrameMode &mode = series.modes.records.front();
        if (image.width != mode.width || image.height != mode.height)
            return "the image " + inQuotes(entry.path) + " differs in size from those before it";
        if (image.pixels.size() <= m_spareBytes) {
            m_spareBytes -= image.pixels.size();
            entry.pixels = std::move(image.pixels);
        }
    }
    return "";
}

const ModeTable &ImageSource::modes(unsigned int streamType) const
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
        kReporter.error("the image \"" + entry.path + "\" is lost: " +
                        (image.error.empty() ? "its size has changed" : image.error));
        return Result::kLost;
    }
    std::memcpy(data, image.pixels.data(), image.pixels.size());
    return Result::kFilled;
}

std::optional<CameraIntrinsics> ImageSource::intrinsics(
    unsigned int /*streamType*/, const typedefNubrixFrameMode & /*mode*/) const
{
    return m_setup.intrinsics;
}

}  // namespace nubrix::virtual_camera
