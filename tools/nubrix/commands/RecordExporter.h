// Writes recorded frames as pictures and point clouds.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>
#include "commands/PinholeOptions.h"
#include "nubrix/context.h"
#include "nubrix/record_reader.h"
#include "output/FrameImage.h"

namespace nubrix::tool {

/// Not thread-safe. The reader must stay open; one at a time.
class RecordExporter {
public:
    struct Options {
        std::string folder;
        bool png;
        bool ply;
        bool bmp;
        float depthUnitMm;
        std::optional<unsigned int> colourFormat;  // a NubrixPixelFormat
        const PinholeOptions &pinhole;
    };

    RecordExporter(RecordReader &reader, Options options);

    /// Writes the files that are wanted of a record: STREAM-NUMBER.png and so on. Returns their
    /// names in the folder. Throws a Failure when a file cannot be written or the record cannot be
    /// read; what is wrong with the record itself it adds to problems().
    std::vector<std::string> write(const RecordFrame &record, unsigned int number);

    /// Why records, or their colours, could not be exported, one text each.
    const std::vector<std::string> &problems() const { return m_problems; }

private:
    using Paths = std::vector<std::string>;

    /// None, and a problem of `number`, when the record is no picture.
    std::optional<FrameCopy> decode(const RecordFrame &record, const std::string &number);
    void writeBitmap(const FrameCopy &colour, const std::string &number, const std::string &base,
                     Paths &paths);
    void writeCloud(const FrameCopy &depth, const RecordInfo &info, const std::string &number,
                    const std::string &base, Paths &paths);
    void addColours(const RecordInfo &depth, const FrameCopy &picture, const std::string &number,
                    PointCloudFile &cloud);

    struct DeleteContext {
        void operator()(NubrixBaseContext *context) const;
    };

    RecordReader &m_reader;
    const Options m_options;
    const std::unique_ptr<NubrixBaseContext, DeleteContext> m_context;  // converts, needs no camera
    std::vector<std::string> m_problems;
};

/// Copies a record's picture. Its pixel format is the one whose pictures of this width and height
/// have as many bytes: 2 bytes a pixel are a depth (whose unit stays unknown: it becomes
/// NUBRIX_PIXEL_DEPTH_MM, which no picture depends on), in infrared streams grey 16; 3 are RGB888,
/// 1 is grey 8. Colour may also be a JPEG, or of `colourFormat`, as the sizes of the others are not
/// unique. Throws a Failure that tells why a record is no picture.
FrameCopy decodeRecord(const RecordFrame &record, std::optional<unsigned int> colourFormat);

}  // namespace nubrix::tool
