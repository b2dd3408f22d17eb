// resident_memory LIMIT_KIB    streams color, depth and ir of 640x480 of the virtual camera. Fails
// when the process has more resident memory than the limit above what it had before it used the
// library.
#include <cstdio>
#include <cstdlib>

#include "nubrix/nubrix.h"
#include "tests/footprint/ProcessCount.h"

namespace {

constexpr unsigned int kTypes[] = {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR};
constexpr int kFrames = 90;  // of each stream: three seconds
constexpr int kTimeoutMs = 30000;

bool readFrames(nubrix::NubrixBaseContext &context, NubrixStream *const *streams)
{
    for (int i = 0; i < kFrames * 3; ++i) {
        typedefNubrixFrame *frame = nullptr;
        if (context.readFrame(streams[i % 3], &frame, kTimeoutMs) != 0)
            return false;
        const bool isExpected = frame->width == 640 && frame->height == 480;
        if (context.releaseFrame(frame) != 0 || !isExpected)
            return false;
    }
    return true;
}

/// The resident memory while the streams run; -1 when they do not.
long memoryWithStreams(nubrix::NubrixBaseContext &context)
{
    NubrixDevice *device = nullptr;
    NubrixStream *streams[3] = {};
    if (context.initialize() != 0 || context.openDevice(nullptr, &device) != 0)
        return -1;
    for (int i = 0; i < 3; ++i) {
        if (context.openStream(device, kTypes[i], &streams[i], nullptr, nullptr) != 0)
            return -1;
    }
    return readFrames(context, streams) ? nubrix::residentMemory() : -1;
}

}  // namespace

int main(int count, char **words)
{
    const long limit = count == 2 ? std::atol(words[1]) : 0;
    nubrix::residentMemory();  // its own memory is no part of it
    const long before = nubrix::residentMemory();
    nubrix::NubrixBaseContext *const context = ContextFactory();
    const long with = memoryWithStreams(*context);
    context->destroy();
    std::printf("%ld KiB with three streams, %ld KiB before, limit %ld KiB more\n", with, before,
                limit);
    return before > 0 && with > before && with - before <= limit ? 0 : 1;
}
