// Photos: the newest colour frame as a bitmap file.
#include <cstdint>

#include "base/ErrorNumber.h"
#include "base/xp.h"
#include "context/Context.h"
#include "stream/VideoStream.h"
#include "utils/BitmapFile.h"

namespace nubrix {

namespace {

bool holdsItsPixels(const typedefNubrixFrame &picture)
{
    if (picture.width < 0 || picture.height < 0)
        return false;
    // Three times a product of two such numbers fits.
    const auto pixels =
        static_cast<std::uint64_t>(picture.width) * static_cast<std::uint64_t>(picture.height);
    return picture.dataSize >= pixels * 3;
}

}  // namespace

int Context::takePhoto(const char *path)
{
    {
        const ApiLock lock(*this);
        if (const int refused = requireInitialized(lock))
            return refused;
    }
    const StreamRegistry::Pin stream = m_streams.pinFirstOf(NUBRIX_STREAM_COLOR);
    if (!stream) {
        setErrorNumber(NUBRIX_ERR_INVALID_STREAM);
        return -8;
    }
    xp<NubrixFrameRef> frame;
    if (const int failed = stream->getFrame(frame))  // up to 1 s, without the API lock
        return failed;
    const typedefNubrixFrame &picture = frame->frame();
    if (picture.pixelFormat != NUBRIX_PIXEL_RGB888 || !holdsItsPixels(picture))
        return -8;
    const std::string name = path && *path ? path : bitmapNameOfNow();
    if (!writeBitmap(name, picture)) {
        setErrorNumber(NUBRIX_ERR_URI_NOT_FOUND);
        return -4;
    }
    return 0;
}

}  // namespace nubrix
