#include "tests/stress/StressHandles.h"

namespace nubrix::stress {

namespace {

alignas(64) unsigned char g_foreign[4096];  // what a handle of another library may point to

template <class Handle>
Handle *foreign(Random &random)
{
    return random.chance(50) ? nullptr : reinterpret_cast<Handle *>(g_foreign);
}

}  // namespace

NubrixDevice *device(Caller &caller)
{
    Receiver *const own = caller.ownReceiver;
    if (own && own->device && caller.random.chance(10) && caller.world.isOn("own"))
        return own->device;
    return caller.world.devices.pick(caller.random, foreign<NubrixDevice>(caller.random));
}

NubrixDevice *deviceToClose(Caller &caller)
{
    NubrixDevice *const picked = device(caller);
    const bool own = caller.ownReceiver && caller.ownReceiver->device == picked;
    return own && !caller.world.isOn("own") ? foreign<NubrixDevice>(caller.random) : picked;
}

StreamEntry stream(Caller &caller)
{
    if (caller.ownStream && caller.random.chance(15) && caller.world.isOn("own"))
        return {caller.ownStream, caller.ownReceiver};
    const StreamEntry picked =
        caller.world.streams.pick(caller.random, {foreign<NubrixStream>(caller.random), nullptr});
    const bool kept = caller.ownStream == picked.handle && !caller.world.isOn("own");
    return kept ? StreamEntry{foreign<NubrixStream>(caller.random), nullptr} : picked;
}

NubrixRecord *recorder(Caller &caller)
{
    return caller.world.recorders.pick(caller.random, foreign<NubrixRecord>(caller.random));
}

void noteGone(Caller &caller, const StreamEntry &entry)
{
    caller.world.streams.retire(
        [&](const StreamEntry &each) { return each.handle == entry.handle; });
    if (entry.receiver && (caller.origin != Origin::kFrame || entry.receiver == caller.ownReceiver))
        entry.receiver->gone = true;
}

}  // namespace nubrix::stress
