// Converts the images that a network camera sends to frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "net/PixelFormats.h"

namespace nubrix::net {

/// The meaning of the counts of a depth image.
struct DepthScale {
    double scale = 1;     ///< millimetres per count
    double offset = 0;    ///< millimetres
    double invalid = -1;  ///< the count of pixels without a measurement; negative: none
};

/// Converts the images of one mode. Not thread-safe.
class FrameConverter {
public:
    FrameConverter(const PixelFormat &format, const DepthScale &depth, unsigned int width,
                   unsigned int height);

    /// The size of an image without padding between its rows.
    std::size_t sourceBytes() const;
    /// The size of a frame.
    std::size_t frameBytes() const;
    /// Whether frames have the same bytes as images.
    bool passesThrough() const;

    /// Reads sourceBytes() and writes frameBytes(). Thread-safe.
    void convert(const std::uint8_t *source, std::uint8_t *frame) const;

private:
    void convertMosaic(const std::uint8_t *source, std::uint8_t *frame) const;

    const PixelFormat m_format;
    const std::size_t m_width;
    const std::size_t m_height;
    std::vector<std::uint16_t> m_depths;  // by count; empty when depths are the counts
};

}  // namespace nubrix::net
