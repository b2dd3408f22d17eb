// Makes frames of the pictures that a camera delivers.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "nubrix/types.h"
#include "uvc/SourceFormat.h"

namespace nubrix {

/// What came of a picture.
enum class Conversion {
    kWhole,
    kShort,    ///< pixels at the end are missing: 0
    kDamaged,  ///< pixels are guessed
    kNothing,  ///< there is nothing to deliver
};

/// Converts the pictures of one mode of one node. Not thread-safe.
class PictureConverter {
public:
    /// `rowBytes`: from row to row in the source; 0 for compressed formats. `stop`, which may be
    /// null, ends a conversion that takes long when it is set on another thread.
    PictureConverter(const SourceFormat &format, unsigned int width, unsigned int height,
                     std::size_t rowBytes, const std::atomic<bool> *stop = nullptr);

    /// Of a frame.
    std::size_t frameBytes() const { return m_frameBytes; }
    /// Frames have the very bytes of the source.
    bool passesThrough() const;

    /// Writes frameBytes() to `frame`.
    Conversion convert(const std::uint8_t *source, std::size_t bytes, std::uint8_t *frame);
    /// Why the last frame could not be converted; empty when that is plain.
    const std::string &fault() const { return m_fault; }

private:
    Conversion decodeJpeg(const std::uint8_t *source, std::size_t bytes, std::uint8_t *frame);
    /// The source without gaps between its rows.
    const std::uint8_t *packed(const std::uint8_t *source, std::size_t rows);
    void convertRows(const std::uint8_t *source, std::size_t rows, std::uint8_t *frame);
    /// The same of an NV12 picture, as an NV21 picture.
    const std::uint8_t *swapped(const std::uint8_t *source, std::size_t rows);
    void convertPlanes(const std::uint8_t *source, std::uint8_t *frame);

    const SourceFormat m_format;
    const unsigned int m_width;
    const unsigned int m_height;
    const std::size_t m_rowBytes;
    const std::size_t m_expected;
    const std::size_t m_frameBytes;
    const std::atomic<bool> *const m_stop;
    std::string m_fault;
    std::vector<std::uint8_t> m_scratch;
};

}  // namespace nubrix
