// A record file as a source of pictures.
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

namespace nubrix {

/// Plays the colour, depth and infrared frames of a record file, each with the pixels, size, index
/// and time stamp that it was recorded with. A frame index here is the place of a frame among those
/// of its stream; in a loop it counts on.
class RecordingSource final : public FrameSource {
public:
    /// Fails with the key and line that name the file.
    static std::variant<std::shared_ptr<RecordingSource>, ScenarioError> create(
        const RecordingSetup &setup);

    const std::vector<typedefNubrixFrameMode> &modes(unsigned int streamType) const override;
    std::size_t defaultMode(unsigned int /*streamType*/) const override { return 0; }
    void prepare(unsigned int /*streamType*/, const typedefNubrixFrameMode & /*mode*/) override {}
    Result fill(unsigned int streamType, const typedefNubrixFrameMode &mode,
                std::uint32_t frameIndex, std::uint8_t *data) override;
    unsigned int largestPicture(unsigned int streamType,
                                const typedefNubrixFrameMode &mode) const override;
    bool isRecorded() const override { return true; }
    std::optional<RecordedPicture> recorded(unsigned int streamType,
                                            std::uint32_t frameIndex) override;
    std::uint32_t firstFrom(unsigned int streamType, std::uint64_t us) const override;
    std::optional<Intrinsics> intrinsics(unsigned int streamType,
                                         const typedefNubrixFrameMode &mode) const override;
    std::optional<double> trueDepth(const typedefNubrixFrameMode &mode, std::uint32_t frameIndex,
                                    unsigned int x, unsigned int y) const override;

private:
    /// The frames of one stream, in their order.
    struct Series {
        unsigned int streamType = 0;
        std::vector<unsigned int> records;  // their numbers in the file
        std::vector<std::uint64_t> us;      // since the start of the recording; never goes back
        std::vector<typedefNubrixFrameMode> modes;  // one
        unsigned int largest = 0;                   // bytes
    };

    explicit RecordingSource(const RecordingSetup &setup) : m_setup(setup) {}

    // What is wrong, or an empty text.
    std::string open();
    std::string readSeries(Series &series, std::uint64_t startUs);
    const Series *seriesOf(unsigned int streamType) const;
    std::string read(unsigned int record, unsigned int capacity, std::uint8_t *data);

    const RecordingSetup m_setup;  // all but the reader is fixed after create
    std::vector<Series> m_series;
    std::uint64_t m_passUs = 0;  // from the start of one pass to that of the next
    std::mutex m_lock;
    RecordReader m_reader;   // under m_lock, as is the next
    std::ifstream m_pixels;  // the same file
};

}  // namespace nubrix
