// Writes recorded frames as images and point clouds.
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

/// Exports the records of one file. The reader must stay open.
///
/// Not thread-safe.
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

    /// Writes the selected files of a record: STREAM-NUMBER.png and so on. Returns their names in
    /// the folder. Throws a std::runtime_error when a file cannot be written or the record cannot
    /// be read. Defects of the record itself are added to problems().
    std::vector<std::string> write(const RecordFrame &record, unsigned int number);

    /// The reasons why records, or their colours, could not be exported.
    const std::vector<std::string> &problems() const { return m_problems; }

private:
    using Paths = std::vector<std::string>;

    /// The image of a record; none, and a problem of `number`, when it has none.
    std::optional<FrameCopy> decode(const RecordFrame &record, const std::string &number);
    void writeBitmap(const FrameCopy &colour, const std::string &number, const std::string &base,
                     Paths &paths);
    void writeCloud(const FrameCopy &depth, const RecordInfo &info, const std::string &number,
                    const std::string &base, Paths &paths);
    void addColours(const RecordInfo &depth, const FrameCopy &image, const std::string &number,
                    PointCloudFile &cloud);

    struct DeleteContext {
        void operator()(NubrixBaseContext *context) const;
    };

    RecordReader &m_reader;
    const Options m_options;
    const std::unique_ptr<NubrixBaseContext, DeleteContext>
        m_context;  // for conversions; not initialized
    std::vector<std::string> m_problems;
};

/// Copies the image of a record. A record does not store the pixel format, so it follows from the
/// size of the data: 2 bytes per pixel are depth (of unknown unit: NUBRIX_PIXEL_DEPTH_MM, which
/// images do not depend on) or, in infrared streams, grey 16; 3 bytes are RGB888, 1 byte is grey 8.
/// Colour may also be a JPEG, or have the format `colourFormat`, because other formats have
/// ambiguous sizes. Throws a std::runtime_error with the reason when the record has no image.
FrameCopy decodeRecord(const RecordFrame &record, std::optional<unsigned int> colourFormat);

}  // namespace nubrix::tool
