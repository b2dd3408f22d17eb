#include "tests/stress/StressCallbacks.h"

#include <cstring>

#include "tests/stress/StressOperations.h"

namespace nubrix::stress {

namespace {

Random &randomOfThisThread(World &world)
{
    thread_local Random random(world.nextSeed());
    return random;
}

void checkCallbackMayRun(World &world, const char *which)
{
    if (world.quiet)
        world.violation(std::string(which) + " runs after destroy has returned");
}

void callSomeThings(Caller &caller, std::size_t atMost)
{
    for (std::size_t left = caller.random.below(atMost + 1); left != 0; --left)
        callSomething(caller);
}

void lookAt(const typedefNubrixFrame &frame)
{
    static std::atomic<unsigned char> seen{0};
    if (frame.dataSize == 0)
        return;
    const auto *const data = static_cast<const unsigned char *>(frame.data);
    seen = static_cast<unsigned char>(data[0] + data[frame.dataSize - 1]);
}

}  // namespace

int release(NubrixBaseContext *context, World &world, typedefNubrixFrame *frame)
{
    lookAt(*frame);
    const int status = context->releaseFrame(frame);
    if (status != 0)
        world.takeBackFrame(frame);
    return status;
}

void onFrame(NubrixStream *handle, typedefNubrixFrame *frame, void *user)
{
    auto *const receiver = static_cast<Receiver *>(user);
    World &world = *receiver->world;
    checkCallbackMayRun(world, "a frame callback");
    if (receiver->gone)
        world.violation("a frame callback is called after its stream was closed");
    Caller caller{world, Origin::kFrame, randomOfThisThread(world), handle, receiver};
    const bool releaseFirst = caller.random.chance(50);
    if (releaseFirst || !world.holdFrame(frame))
        release(world.context, world, frame);
    if (caller.random.chance(40))
        callSomeThings(caller, 2);
    checkCallbackMayRun(world, "a frame callback");
}

void onState(const char *uri, const char *serial, unsigned int, void *user)
{
    World &world = *static_cast<World *>(user);
    checkCallbackMayRun(world, "a device state callback");
    if (std::strlen(uri) == 0 || std::strlen(serial) == 0)
        world.violation("a device state callback without texts");
    Caller caller{world, Origin::kState, randomOfThisThread(world)};
    callSomeThings(caller, 3);
    checkCallbackMayRun(world, "a device state callback");
}

void onProgress(NubrixDevice *, int, void *user)
{
    World &world = *static_cast<World *>(user);
    checkCallbackMayRun(world, "onProgress");
    Caller caller{world, Origin::kUpgrade, randomOfThisThread(world)};
    callSomeThings(caller, 2);
    checkCallbackMayRun(world, "onProgress");
}

void onFinished(NubrixDevice *device, int, void *user)
{
    onProgress(device, 100, user);
}

}  // namespace nubrix::stress
