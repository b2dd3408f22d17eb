// Makes frames of the pictures that a network camera sends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "net/PixelFormats.h"

namespace nubrix::net {

/// What the counts of a depth picture mean.
struct DepthScale {
    double scale = 1;     ///< millimetres a count
    double offset = 0;    ///< millimetres
    double invalid = -1;  ///< the count that means that nothing was measured, negative: none does
};

/// Converts the pictures of one mode. Not thread-safe.
class FrameConverter {
public:
    FrameConverter(const PixelFormat &format, const DepthScale &depth, unsigned int width,
                   unsigned int height);

    /// Of a picture without gaps between its rows.
    std::size_t sourceBytes() const;
    /// Of a frame.
    std::size_t frameBytes() const;
    /// Frames have the very bytes of the source.
    bool passesThrough() const;

    /// Reads sourceBytes() and writes frameBytes(). Thread-safe.
    void convert(const std::uint8_t *source, std::uint8_t *frame) const;

private:
    void convertMosaic(const std::uint8_t *source, std::uint8_t *frame) const;

    const PixelFormat m_format;
    const std::size_t m_width;
    const std::size_t m_height;
    std::vector<std::uint16_t> m_depths;  // of each count; empty when they are the same
};

}  // namespace nubrix::net
