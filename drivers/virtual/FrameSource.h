// Where the frames of a virtual camera come from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "common/CameraProperties.h"
#include "common/ModeTable.h"
#include "common/Report.h"
#include "nubrix/types.h"

namespace nubrix::virtual_camera {

/// The metadata that was recorded with a frame.
struct RecordedFrame {
    std::uint64_t us;  ///< since the start of the recording; never decreases
    std::uint64_t timestampUs;
    std::uint32_t frameIndex;
    unsigned int bytes;
    unsigned short width;
    unsigned short height;
};

/// The names under which the virtual camera reports.
inline constexpr Reporter kReporter = {"NubrixVirtualDriver", "nubrix virtual camera"};

/// The modes of a stream that does not exist.
inline const ModeTable kNoModes = {};

/// Bytes of one frame in a mode.
inline unsigned int framePayload(const typedefNubrixFrameMode &mode)
{
    return static_cast<unsigned int>(mode.width) * mode.height * pixelBytes(mode.pixelFormat);
}

/// A source of frames for each stream type. All cameras share it. Thread-safe.
class FrameSource {
public:
    enum class Result {
        kFilled,
        kLost,  ///< this frame cannot be read
        kEnd,   ///< there are no frames from here on
    };

    FrameSource() = default;
    FrameSource(const FrameSource &) = delete;
    FrameSource &operator=(const FrameSource &) = delete;
    virtual ~FrameSource() = default;

    /// The modes of a stream type, the default one at defaultMode(). Empty: there is no such
    /// stream.
    virtual const ModeTable &modes(unsigned int streamType) const = 0;
    virtual std::size_t defaultMode(unsigned int /*streamType*/) const { return 0; }

    /// Does the slow work before the first frame of a mode.
    virtual void prepare(unsigned int /*streamType*/, const typedefNubrixFrameMode & /*mode*/) {}

    /// Writes the image of a frame index, framePayload(mode) bytes.
    virtual Result fill(unsigned int streamType, const typedefNubrixFrameMode &mode,
                        std::uint32_t frameIndex, std::uint8_t *data) = 0;

    /// The capacity that holds every frame of a mode, in bytes.
    virtual unsigned int largestFrameBytes(unsigned int /*streamType*/,
                                           const typedefNubrixFrameMode &mode) const
    {
        return framePayload(mode);
    }

    /// Whether frames have recorded times.
    virtual bool isRecorded() const { return false; }
    /// The metadata of a recorded frame; empty past the end.
    virtual std::optional<RecordedFrame> recorded(unsigned int /*streamType*/,
                                                  std::uint32_t /*frameIndex*/)
    {
        return std::nullopt;
    }
    /// Index of the first recorded frame of a stream at or after a time since the start of the
    /// recording.
    virtual std::uint32_t firstFrom(unsigned int /*streamType*/, std::uint64_t /*us*/) const
    {
        return 0;
    }

    /// Empty when they are unknown.
    virtual std::optional<CameraIntrinsics> intrinsics(
        unsigned int streamType, const typedefNubrixFrameMode &mode) const = 0;

    /// True depth in millimetres of a pixel of a depth frame; empty when it is unknown.
    virtual std::optional<double> trueDepth(const typedefNubrixFrameMode & /*mode*/,
                                            std::uint32_t /*frameIndex*/, unsigned int /*x*/,
                                            unsigned int /*y*/) const
    {
        return std::nullopt;
    }
};

}  // namespace nubrix::virtual_camera
