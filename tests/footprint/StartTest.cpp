// How long an application waits for the virtual camera.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "nubrix/nubrix.h"

namespace nubrix {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// Sanitizers and emulators render the room many times slower.
milliseconds limit()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return milliseconds(5000);
#else
    return milliseconds(std::getenv("NUBRIX_EMULATED") == nullptr ? 50 : 5000);
#endif
}

/// From openStream to the first frame.
milliseconds timeToFrame(NubrixBaseContext &context, NubrixDevice *device, unsigned int type)
{
    const auto begin = Clock::now();
    NubrixStream *stream = nullptr;
    EXPECT_EQ(context.openStream(device, type, &stream, nullptr, nullptr), 0);
    typedefNubrixFrame *frame = nullptr;
    EXPECT_EQ(context.readFrame(stream, &frame, 30000), 0);
    const auto time = std::chrono::ceil<milliseconds>(Clock::now() - begin);
    EXPECT_EQ(context.releaseFrame(frame), 0);
    return time;
}

/// The shortest of up to 30 times to the first colour frame of a driver that has rendered nothing
/// yet: other programs may delay each, but hardly all. `withDepth`: depth streams already, so that
/// the frame is captured up to a thirtieth of a second later.
milliseconds shortestTimeToColour(bool withDepth)
{
    milliseconds shortest = milliseconds::max();
    NubrixBaseContext *const context = ContextFactory();
    for (int i = 0; i < 30 && shortest > limit(); ++i) {
        NubrixDevice *device = nullptr;
        EXPECT_EQ(context->initialize(), 0);
        EXPECT_EQ(context->openDevice(nullptr, &device), 0);
        if (withDepth)
            timeToFrame(*context, device, NUBRIX_STREAM_DEPTH);
        shortest = std::min(shortest, timeToFrame(*context, device, NUBRIX_STREAM_COLOR));
        EXPECT_EQ(context->destroy(), 0);
    }
    return shortest;
}

TEST(StartTest, TheFirstColourFrameComesSoonAfterOpenStream)
{
    EXPECT_LE(shortestTimeToColour(false), limit());
}

TEST(StartTest, TheFirstColourFrameComesSoonWhileDepthStreams)
{
    EXPECT_LE(shortestTimeToColour(true), limit());
}

}  // namespace
}  // namespace nubrix
