// Image files, and a folder of colour and depth images as a source of frames.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "virtual/FrameSource.h"
#include "virtual/Scenario.h"

namespace nubrix::virtual_camera {

struct Image {
    unsigned int width = 0;
    unsigned int height = 0;
    std::vector<std::uint8_t> pixels;  ///< rows from top to bottom without padding
    std::string error;                 ///< why the file cannot be read; empty: no error
};

/// Reads a PNG of any kind or a JPEG as red, green, blue; the content decides which of the two it
/// is. 8-bit values are those of the file, without any colour correction. Thread-safe.
Image readColorImage(const std::string &path);

/// Reads a 16-bit grey PNG as 16-bit values in the machine's byte order. Thread-safe.
Image readDepthImage(const std::string &path);

/// NAME.color.png, NAME.color.jpg or NAME.color.jpeg and NAME.depth.png, sorted by the bytes of
/// their names. Every image is read once to verify it; as many as fit stay in memory.
class ImageSource final : public FrameSource {
public:
    static constexpr std::size_t kKeptBytes = std::size_t{64} << 20U;

    /// Fails with the key and line that name the folder.
    static std::variant<std::shared_ptr<ImageSource>, ScenarioError> create(
        const ImagesSetup &setup, int frameRate, std::size_t keptBytes = kKeptBytes);

    const ModeTable &modes(unsigned int streamType) const override;
    Result fill(unsigned int streamType, const typedefNubrixFrameMode &mode,
                std::uint32_t frameIndex, std::uint8_t *data) override;
    std::optional<CameraIntrinsics> intrinsics(unsigned int streamType,
                                               const typedefNubrixFrameMode &mode) const override;

private:
    struct Entry {
        std::string path;
        std::vector<std::uint8_t> pixels;  // empty: read on demand
    };

    /// The images of one stream in their order.
    struct Series {
        std::vector<Entry> entries;
        ModeTable modes;  // one mode, or none without entries
    };

    ImageSource(const ImagesSetup &setup, std::size_t keptBytes)
        : m_setup(setup), m_spareBytes(keptBytes)
    {
    }

    // Both return an error message, or an empty text.
    std::string findImages();
    std::string readAll(Series &series, bool isDepth, int frameRate);

    const ImagesSetup m_setup;  // everything is fixed after create
    Series m_color{{}, {NUBRIX_STREAM_COLOR}};
    Series m_depth{{}, {NUBRIX_STREAM_DEPTH}};
    std::size_t m_spareBytes;  // capacity left for decoded images
};

/// The pixel format for a unit of depth: 1, 1/4, 1/8 and 1/16 mm have formats of their own; values
/// of any other unit are raw 16-bit grey.
unsigned int depthFormatOf(double unitMm);

}  // namespace nubrix::virtual_camera
