// A record file as a source of frames.
#pragma once

#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

#include "nubrix/record_reader.h"
#include "virtual/FrameSource.h"
#include "virtual/Scenario.h"

namespace nubrix::virtual_camera {

/// Plays the colour, depth and infrared frames of a record file, each with its recorded pixels,
/// size, index and time stamp. Here a frame index is the position of a frame in its stream; in a
/// loop it continues to count.
class RecordingSource final : public FrameSource {
public:
    /// Fails with the key and line that name the file.
    static std::variant<std::shared_ptr<RecordingSource>, ScenarioError> create(
        const RecordingSetup &setup);

    const ModeTable &modes(unsigned int streamType) const override;
    Result fill(unsigned int streamType, const typedefNubrixFrameMode &mode,
                std::uint32_t frameIndex, std::uint8_t *data) override;
    unsigned int largestFrameBytes(unsigned int streamType,
                                   const typedefNubrixFrameMode &mode) const override;
    bool isRecorded() const override { return true; }
    std::optional<RecordedFrame> recorded(unsigned int streamType,
                                          std::uint32_t frameIndex) override;
    std::uint32_t firstFrom(unsigned int streamType, std::uint64_t us) const override;
    std::optional<CameraIntrinsics> intrinsics(unsigned int streamType,
                                               const typedefNubrixFrameMode &mode) const override;

private:
    /// The frames of one stream in their order.
    struct Series {
        std::vector<unsigned int> records;  // their numbers in the file
        std::vector<std::uint64_t> us;      // since the start of the recording; never decreases
        ModeTable modes = {};               // one mode
        unsigned int largest = 0;           // bytes
    };

    explicit RecordingSource(const RecordingSetup &setup) : m_setup(setup) {}

    // These return an error message, or an empty text.
    std::string open();
    std::string readSeries(Series &series, std::uint64_t startUs);
    const Series *seriesOf(unsigned int streamType) const;
    std::string read(unsigned int record, unsigned int capacity, std::uint8_t *data);

    const RecordingSetup m_setup;  // everything but the reader is fixed after create
    std::vector<Series> m_series;
    std::uint64_t m_passUs = 0;  // from the start of one pass to the start of the next
    std::mutex m_lock;
    RecordReader m_reader;   // under m_lock, as is the next member
    std::ifstream m_pixels;  // the same file
};

}  // namespace nubrix::virtual_camera
