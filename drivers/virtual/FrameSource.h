// Where the pictures of a virtual camera come from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "common/CameraProperties.h"
#include "common/ModeTable.h"
#include "nubrix/types.h"

namespace nubrix::virtual_camera {

/// What a recorded picture has that a mode and a clock do not tell.
struct RecordedPicture {
    std::uint64_t us;  ///< since the start of the recording; never less than the one before
    std::uint64_t timestampUs;
    std::uint32_t frameIndex;
    unsigned int bytes;
    unsigned short width;
    unsigned short height;
};

/// Bytes of one picture in a mode.
inline unsigned int framePayload(const typedefNubrixFrameMode &mode)
{
    return static_cast<unsigned int>(mode.width) * mode.height * pixelBytes(mode.pixelFormat);
}

/// A source of pictures for each stream type. Shared by all cameras. Thread-safe.
class FrameSource {
public:
    enum class Result {
        kFilled,
        kLost,  ///< this picture cannot be had
        kEnd,   ///< there are no pictures from here on
    };

    FrameSource() = default;
    FrameSource(const FrameSource &) = delete;
    FrameSource &operator=(const FrameSource &) = delete;
    virtual ~FrameSource() = default;

    /// The modes of a stream type, the default one at defaultMode(); empty: no such stream.
    virtual const std::vector<typedefNubrixFrameMode> &modes(unsigned int streamType) const = 0;
    virtual std::size_t defaultMode(unsigned int /*streamType*/) const { return 0; }

    /// Does what takes long before the first picture of a mode.
    virtual void prepare(unsigned int /*streamType*/, const typedefNubrixFrameMode & /*mode*/) {}

    /// Writes the picture of a frame index, framePayload(mode) bytes.
    virtual Result fill(unsigned int streamType, const typedefNubrixFrameMode &mode,
                        std::uint32_t frameIndex, std::uint8_t *data) = 0;

    /// Bytes that every picture of a mode fits in.
    virtual unsigned int largestPicture(unsigned int /*streamType*/,
                                        const typedefNubrixFrameMode &mode) const
    {
        return framePayload(mode);
    }

    /// Whether pictures bring their own times along.
    virtual bool isRecorded() const { return false; }
    /// What a recorded picture brings along; empty at the end.
    virtual std::optional<RecordedPicture> recorded(unsigned int /*streamType*/,
                                                    std::uint32_t /*frameIndex*/)
    {
        return std::nullopt;
    }
    /// The first recorded picture of a stream at or after a time since the start of the recording.
    virtual std::uint32_t firstFrom(unsigned int /*streamType*/, std::uint64_t /*us*/) const
    {
        return 0;
    }

    /// Empty when they are not known.
    virtual std::optional<CameraIntrinsics> intrinsics(
        unsigned int streamType, const typedefNubrixFrameMode &mode) const = 0;

    /// True depth in millimetres of a pixel of a depth picture; empty when it is not known.
    virtual std::optional<double> trueDepth(const typedefNubrixFrameMode & /*mode*/,
                                            std::uint32_t /*frameIndex*/, unsigned int /*x*/,
                                            unsigned int /*y*/) const
    {
        return std::nullopt;
    }
};

}  // namespace nubrix::virtual_camera
