#include "net/FrameConverter.h"

#include <cmath>
#include <cstring>

#include "common/ModeTable.h"
#include "common/PixelConversion.h"

namespace nubrix::net {

namespace {

constexpr std::size_t kCounts = 0x10000;

/// The depth of each count in 14.2 fixed point, 0 when it does not fit.
std::vector<std::uint16_t> tableOf(const DepthScale &depth)
{
    std::vector<std::uint16_t> table(kCounts, 0);
    bool isSame = true;
    for (std::size_t count = 0; count < kCounts; ++count) {
        const auto value = static_cast<double>(count);
        const double quarters = std::round((value * depth.scale + depth.offset) * 4);
        if (value != depth.invalid && quarters > 0 && quarters < static_cast<double>(kCounts))
            table[count] = static_cast<std::uint16_t>(quarters);
        isSame = isSame && table[count] == count;
    }
    if (isSame)
        table.clear();
    return table;
}

/// An image that is mirrored at its edges, so that the pattern of its colours continues beyond
/// them.
class Mosaic {
public:
    Mosaic(const std::uint8_t *pixels, std::size_t width, std::size_t height)
        : m_pixels(pixels),
          m_width(static_cast<std::ptrdiff_t>(width)),
          m_height(static_cast<std::ptrdiff_t>(height))
    {
    }

    unsigned int at(std::ptrdiff_t x, std::ptrdiff_t y) const
    {
        return m_pixels[inside(y, m_height) * m_width + inside(x, m_width)];
    }
    std::uint8_t cross(std::ptrdiff_t x, std::ptrdiff_t y) const
    {
        return quarter(at(x - 1, y) + at(x + 1, y) + at(x, y - 1) + at(x, y + 1));
    }
    std::uint8_t corners(std::ptrdiff_t x, std::ptrdiff_t y) const
    {
        return quarter(at(x - 1, y - 1) + at(x + 1, y - 1) + at(x - 1, y + 1) + at(x + 1, y + 1));
    }
    std::uint8_t leftAndRight(std::ptrdiff_t x, std::ptrdiff_t y) const
    {
        return static_cast<std::uint8_t>((at(x - 1, y) + at(x + 1, y) + 1) / 2);
    }
    std::uint8_t aboveAndBelow(std::ptrdiff_t x, std::ptrdiff_t y) const
    {
        return static_cast<std::uint8_t>((at(x, y - 1) + at(x, y + 1) + 1) / 2);
    }

private:
    static std::ptrdiff_t inside(std::ptrdiff_t place, std::ptrdiff_t size)
    {
        if (place < 0)
            return size > 1 ? 1 : 0;
        return place < size ? place : std::max<std::ptrdiff_t>(size - 2, 0);
    }
    static std::uint8_t quarter(unsigned int sum)
    {
        return static_cast<std::uint8_t>((sum + 2) / 4);
    }

    const std::uint8_t *m_pixels;
    const std::ptrdiff_t m_width;
    const std::ptrdiff_t m_height;
};

}  // namespace

FrameConverter::FrameConverter(const PixelFormat &format, const DepthScale &depth,
                               unsigned int width, unsigned int height)
    : m_format(format), m_width(width), m_height(height)
{
    if (format.layout == Layout::kDepth)
        m_depths = tableOf(depth);
}

std::size_t FrameConverter::sourceBytes() const
{
    return m_width * m_height * m_format.bytes;
}

std::size_t FrameConverter::frameBytes() const
{
    return m_width * m_height * pixelBytes(m_format.pixelFormat);
}

bool FrameConverter::passesThrough() const
{
    return m_format.layout == Layout::kPlain ||
           (m_format.layout == Layout::kDepth && m_depths.empty());
}

void FrameConverter::convert(const std::uint8_t *source, std::uint8_t *frame) const
{
    const std::size_t pixels = m_width * m_height;
    const auto width = static_cast<unsigned int>(m_width);
    const auto height = static_cast<unsigned int>(m_height);
    if (passesThrough()) {
        std::memcpy(frame, source, sourceBytes());
        return;
    }
    switch (m_format.layout) {
        case Layout::kDepth:
            for (std::size_t i = 0; i < pixels; ++i) {
                std::uint16_t count = 0;
                std::memcpy(&count, source + 2 * i, sizeof count);
                std::memcpy(frame + 2 * i, &m_depths[count], sizeof count);
            }
            break;
        case Layout::kBgr:
            for (std::size_t i = 0; i < 3 * pixels; i += 3) {
                frame[i] = source[i + 2];
                frame[i + 1] = source[i + 1];
                frame[i + 2] = source[i];
            }
            break;
        case Layout::kYuyv:
            yuyvToRgb(source, width, height, frame);
            break;
        case Layout::kUyvy:
            uyvyToRgb(source, width, height, frame);
            break;
        default:
            convertMosaic(source, frame);
    }
}

// Each pixel keeps its own colour and takes the others from its nearest neighbours.
void FrameConverter::convertMosaic(const std::uint8_t *source, std::uint8_t *frame) const
{
    const Mosaic mosaic(source, m_width, m_height);
    const auto width = static_cast<std::ptrdiff_t>(m_width);
    const auto height = static_cast<std::ptrdiff_t>(m_height);
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        const bool isRedRow = y % 2 == m_format.redY;
        for (std::ptrdiff_t x = 0; x < width; ++x, frame += 3) {
            const auto own = static_cast<std::uint8_t>(mosaic.at(x, y));
            const bool isRedColumn = x % 2 == m_format.redX;
            std::uint8_t &ofRow = frame[isRedRow ? 0 : 2];
            std::uint8_t &ofOtherRow = frame[isRedRow ? 2 : 0];
            if (isRedRow == isRedColumn) {  // red or blue
                ofRow = own;
                frame[1] = mosaic.cross(x, y);
                ofOtherRow = mosaic.corners(x, y);
            } else {
                ofRow = mosaic.leftAndRight(x, y);
                frame[1] = own;
                ofOtherRow = mosaic.aboveAndBelow(x, y);
            }
        }
    }
}

}  // namespace nubrix::net
