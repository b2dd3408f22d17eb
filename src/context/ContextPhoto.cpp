// Photos: the newest colour frame as a bitmap file.
#include <cstdint>
#include <optional>

#include "base/ErrorNumber.h"
#include "base/xp.h"
#include "context/ContextGuards.h"
#include "image/BitmapFile.h"

namespace nubrix {

namespace {

// The bytes of the pixels, nothing when the frame has less data than it should.
std::optional<std::uint64_t> pixelBytes(const typedefNubrixFrame &frame)
{
    if (frame.width < 0 || frame.height < 0)
        return std::nullopt;
    // Three times a product of two such numbers fits.
    const auto bytes =
        static_cast<std::uint64_t>(frame.width) * static_cast<std::uint64_t>(frame.height) * 3;
    return frame.dataSize >= bytes ? std::make_optional(bytes) : std::nullopt;
}

}  // namespace

int Context::takePhoto(const char *path)
{
    typedefNubrixFrame frame = {};
    std::vector<unsigned char> pixels;
    if (const int failed = copyColourFrame(frame, pixels))
        return failed;
    // Outside the gate and without locks: a pipe or a slow disk delays no other operation.
    return guarded([&] {
        const std::string name = path && *path ? path : bitmapNameOfNow();
        if (writeBitmap(name, frame))
            return 0;
        setErrorNumber(NUBRIX_ERR_URI_NOT_FOUND);
        return -4;
    });
}

int Context::copyColourFrame(typedefNubrixFrame &frame, std::vector<unsigned char> &pixels)
{
    return inside([&] {
        if (const int refused = underLock([] { return 0; }))
            return refused;
        const std::shared_ptr<VideoStream> stream = m_streams.findIf(
            [](VideoStream &each) { return each.getFrameType() == NUBRIX_STREAM_COLOR; });
        if (!stream) {
            setErrorNumber(NUBRIX_ERR_INVALID_STREAM);
            return -8;
        }
        xp<NubrixFrameRef> newest;
        // Up to 1 s, without the API lock.
        if (const int failed = stream->getFrame(newest, [this] { return m_gate.isShut(); }))
            return m_gate.isShut() ? -9 : failed;
        frame = newest->frame();
        const auto bytes = pixelBytes(frame);
        if (frame.pixelFormat != NUBRIX_PIXEL_RGB888 || !bytes)
            return -8;
        const auto *const source = static_cast<const unsigned char *>(frame.data);
        pixels.assign(source, source + *bytes);
        frame.data = pixels.data();
        return 0;
    });
}

}  // namespace nubrix
