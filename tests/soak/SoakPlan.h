// What the cameras of a soak run show, and when they fail.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "nubrix/types.h"

namespace nubrix::soak {

// The virtual cameras. Only the first one stays attached.
inline constexpr const char *kSteadyUri = "usb:virtual-STEADY";
inline constexpr const char *kLeftUri = "usb:virtual-LEFT";
inline constexpr const char *kRightUri = "usb:virtual-RIGHT";
inline constexpr const char *kFilmUri = "usb:virtual-FILM";

/// The images that every virtual camera shows in turn. Small, so that a run measures the library
/// and not the copying of pixels. Thread-safe.
class SoakImages {
public:
    static constexpr unsigned int kWidth = 160;
    static constexpr unsigned int kHeight = 120;
    static constexpr unsigned int kCount = 8;

    SoakImages();
    /// Writes them into an existing folder, as the virtual driver reads them.
    void write(const std::string &folder) const;
    /// Whether a frame has exactly the pixels that the camera shows at its index.
    bool matches(const typedefNubrixFrame &frame) const;
    /// The same where the index is not the camera's: whether it has the pixels of one of them.
    bool containOneOf(const typedefNubrixFrame &frame) const;

private:
    using Pixels = std::vector<std::uint8_t>;

    bool isImage(const typedefNubrixFrame &frame, unsigned int number) const;

    std::vector<Pixels> m_colors;
    std::vector<Pixels> m_depths;
};

/// The scenario of a run of `seconds`, next to the folder "images": cameras at free pacing that are
/// unplugged and return, drop frames, stall, shorten frames and have clocks that jump, all drawn
/// from the seed.
std::string scenarioText(std::uint64_t seed, double seconds);

}  // namespace nubrix::soak
