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
    std::string error;                 ///< what is wrong with the file; empty: nothing
};

/// A PNG of any kind or a JPEG (told apart by their content) as red, green, blue. 8-bit values are
/// those of the file: nothing is converted for the sake of a display. Thread-safe.
Image readColorImage(const std::string &path);

/// A 16-bit grey PNG as 16-bit values in the machine's byte order. Thread-safe.
Image readDepthImage(const std::string &path);

/// NAME.color.png, NAME.color.jpg or NAME.color.jpeg and NAME.depth.png in the order of the names'
/// bytes. Every image is read once to see that it can be; as many as fit are kept.
class ImageSource final : public FrameSource {
public:
    static constexpr std::size_t kKeptBytes = std::size_t{64} << 20U;

    /// Fails with the key and line that name the folder.
    static std::variant<std::shared_ptr<ImageSource>, ScenarioError> create(
        const ImagesSetup &setup, int frameRate, std::size_t keptBytes = kKeptBytes);

    const std::vector<typedefNubrixFrameMode> &modes(unsigned int streamType) const override;
    Result fill(unsigned int streamType, const typedefNubrixFrameMode &mode,
                std::uint32_t frameIndex, std::uint8_t *data) override;
    std::optional<CameraIntrinsics> intrinsics(unsigned int streamType,
                                               const typedefNubrixFrameMode &mode) const override;

private:
    struct Entry {
        std::string path;
        std::vector<std::uint8_t> pixels;  // empty: to be read when it is wanted
    };

    /// The images of one stream, in their order.
    struct Series {
        std::vector<Entry> entries;
        std::vector<typedefNubrixFrameMode> modes;  // one, or none without entries
    };

    ImageSource(const ImagesSetup &setup, std::size_t room) : m_setup(setup), m_room(room) {}

    // What is wrong, or an empty text.
    std::string findImages();
    std::string readAll(Series &series, bool isDepth, int frameRate);

    const ImagesSetup m_setup;  // all is fixed after create
    Series m_color;
    Series m_depth;
    std::size_t m_room;  // bytes that may still be kept
};

/// The pixel format for depth values of a unit: 1, 1/4, 1/8 and 1/16 mm have codes of their own,
/// values of any other unit are raw 16-bit grey.
unsigned int depthFormatOf(double unitMm);

}  // namespace nubrix::virtual_camera
