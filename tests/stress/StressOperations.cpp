#include "tests/stress/StressOperations.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <sstream>

namespace nubrix::stress {

namespace {

using Context = NubrixBaseContext;

constexpr std::size_t kStreams = 8;  // at once; each takes its time to stop

alignas(64) unsigned char g_foreign[4096];  // what a handle of another library may point to

template <class Handle>
Handle *foreign(Random &random)
{
    return random.chance(50) ? nullptr : reinterpret_cast<Handle *>(g_foreign);
}

// --- handles

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

// A stream is gone. From another stream's callback that is not awaited: the two may be closing
// each other.
void noteGone(Caller &caller, const StreamEntry &entry)
{
    caller.world.streams.retire(
        [&](const StreamEntry &each) { return each.handle == entry.handle; });
    if (entry.receiver && (caller.origin != Origin::kFrame || entry.receiver == caller.ownReceiver))
        entry.receiver->gone = true;
}

// --- callbacks

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

int release(Context *context, World &world, typedefNubrixFrame *frame)
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

// --- operations

constexpr int kSkipped = std::numeric_limits<int>::min();  // nothing was called

const std::vector<int> kNothingElse = {0};
const std::vector<int> kRefused = {-2};

void addLifeCycle(std::vector<Operation> &table)
{
    table.push_back({"initialize", 2, {0}, {0}, [](Context *context, Caller &caller) {
                         World &world = caller.world;
                         if (caller.origin != Origin::kThread)
                             return context->initialize();
                         if (!world.initializeDoor.tryEnter())
                             return kSkipped;
                         world.life.begin();
                         const int status = context->initialize();
                         world.life.end(LifeState::State::kInitialized);
                         world.initializeDoor.leave();
                         return status;
                     }});
    table.push_back({"destroy", 1, {0, -2}, {-2}, [](Context *context, Caller &caller) {
                         if (caller.origin != Origin::kThread)
                             return context->destroy();
                         const LifeState::State before = caller.world.life.begin();
                         const int status = context->destroy();
                         const bool alone = caller.world.life.end(LifeState::State::kUninitialized);
                         if (alone && before == LifeState::State::kInitialized && status != 0)
                             caller.world.violation("destroy of an initialized context fails");
                         return status;
                     }});
    table.push_back(
        {"setDeviceStateCallback", 4, {0}, kRefused, [](Context *context, Caller &caller) {
             return context->setDeviceStateCallback(&onState, &caller.world);
         }});
}

void addDevices(std::vector<Operation> &table)
{
    table.push_back({"nubrixGetDeviceList", 4, {0}, kRefused, [](Context *context, Caller &) {
                         typedefNubrixeviceAttribute *list = nullptr;
                         unsigned int count = 0;
                         return context->nubrixGetDeviceList(&list, &count);
                     }});
    table.push_back({"nubrixGetGmslDeviceList", 2, {0}, kRefused, [](Context *context, Caller &) {
                         _NubrixGmslDeviceInfo *list = nullptr;
                         unsigned int count = 0;
                         return context->nubrixGetGmslDeviceList(&list, &count);
                     }});
    table.push_back({"getDeviceAttributeByUri", 4, kNothingElse, kNothingElse,
                     [](Context *context, Caller &caller) {
                         const World &world = caller.world;
                         context->getDeviceAttributeByUri(
                             world.uris[caller.random.below(world.uris.size())].c_str());
                         return 0;
                     }});
    table.push_back({"openDevice",
                     14,
                     {0, -2, -4, -9, kOpenFault},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         World &world = caller.world;
                         NubrixDevice *opened = nullptr;
                         const bool first = caller.random.chance(10);
                         const std::string &uri =
                             world.uris[caller.random.below(world.uris.size())];
                         const int status =
                             context->openDevice(first ? nullptr : uri.c_str(), &opened);
                         if (opened)
                             world.devices.add(opened);
                         return status;
                     }});
    table.push_back({"openDevice2",
                     4,
                     {0, -1, -2, -4, -9, kOpenFault},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         World &world = caller.world;
                         NubrixDevice *opened = nullptr;
                         const std::string &uri =
                             world.uris[caller.random.below(world.uris.size())];
                         const unsigned int product = caller.random.chance(90) ? 1 : 0xfffe;
                         const int status =
                             context->openDevice2(0x1209, product, 0, uri.c_str(), &opened);
                         if (opened)
                             world.devices.add(opened);
                         return status;
                     }});
    table.push_back({"closeDevice", 5, {0, -3}, kRefused, [](Context *context, Caller &caller) {
                         NubrixDevice *const handle = deviceToClose(caller);
                         const int status = context->closeDevice(handle);
                         if (status == 0) {
                             caller.world.devices.retire(
                                 [&](NubrixDevice *each) { return each == handle; });
                         }
                         return status;
                     }});
}

void addModesAndProperties(std::vector<Operation> &table)
{
    table.push_back(
        {"getSupportFrameMode", 3, {0, -3, -4, -9}, kRefused, [](Context *context, Caller &caller) {
             const typedefNubrixFrameMode *modes = nullptr;
             unsigned int count = 0;
             return context->getSupportFrameMode(device(caller), caller.random.oneOf({1U, 2U, 4U}),
                                                 &modes, &count);
         }});
    table.push_back(
        {"setFrameMode", 3, {0, -2, -3, -4, -9}, kRefused, [](Context *context, Caller &caller) {
             typedefNubrixFrameMode mode = {NUBRIX_PIXEL_RGB888, 16, 12, 100};
             return context->setFrameMode(device(caller), caller.random.oneOf({1U, 2U}), mode);
         }});
    table.push_back({"getCurrentFrameMode", 3, kNothingElse, kNothingElse,
                     [](Context *context, Caller &caller) {
                         context->getCurrentFrameMode(device(caller), 1);
                         return 0;
                     }});
    table.push_back({"setDeviceProperty",
                     3,
                     {0, -3, -4, -8, -9},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         const unsigned int value = 2;
                         return context->setDeviceProperty(
                             device(caller), caller.random.oneOf({72U, 75U, 3U}), &value, 4);
                     }});
    table.push_back({"getDeviceProperty",
                     3,
                     {0, -3, -4, -8, -9},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         unsigned char value[82];
                         unsigned int size = caller.random.oneOf({4U, 82U});
                         return context->getDeviceProperty(
                             device(caller), caller.random.oneOf({72U, 75U, 3U}), value, &size);
                     }});
    table.push_back({"propertyTranspraentTransmission",
                     2,
                     {-1, -3, -8, -9},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         unsigned char bytes[4] = {};
                         unsigned int size = 4;
                         return context->propertyTranspraentTransmission(device(caller), bytes, 4,
                                                                         bytes, &size);
                     }});
    table.push_back(
        {"setStreamFlagMode", 2, {0, -1, -3, -9}, {-1, -2}, [](Context *context, Caller &caller) {
             return context->setStreamFlagMode(device(caller),
                                               static_cast<unsigned int>(caller.random.below(6)));
         }});
    table.push_back({"getVersion", 3, {0, -3, -9}, kRefused, [](Context *context, Caller &caller) {
                         NubrixVersions versions;
                         return context->getVersion(device(caller), &versions);
                     }});
    table.push_back({"setTemperatureParamsFilePath",
                     1,
                     {0, -1, -3, -8, -9},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         return context->setTemperatureParamsFilePath(device(caller), "/nowhere");
                     }});
    table.push_back({"convertDepthToPointCloud2",
                     2,
                     {0, -1, -3, -8, -9},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         const unsigned short depth[4] = {};
                         typedefNubrixPoint3D points[4];
                         return context->convertDepthToPointCloud2(
                             device(caller), depth, 2, 2, 1000, 1, 1, 1, 1, points, 1, true);
                     }});
}

// --- streams

void addOpening(std::vector<Operation> &table)
{
    const std::vector<int> opened = {0, -1, -2, -3, -4, -5, -8, -9, -13, kStartFault};
    table.push_back({"openStream", 16, opened, {-2, -4}, [](Context *context, Caller &caller) {
                         if (caller.world.streams.live() >= kStreams)
                             return kSkipped;
                         NubrixDevice *const of = device(caller);
                         Receiver *const receiver =
                             caller.random.chance(60) ? caller.world.newReceiver(of) : nullptr;
                         NubrixStream *handle = nullptr;
                         const int status =
                             context->openStream(of, caller.random.oneOf({1U, 2U, 1U, 2U, 4U, 3U}),
                                                 &handle, receiver ? &onFrame : nullptr, receiver);
                         if (status == 0)
                             caller.world.streams.add({handle, receiver});
                         return status;
                     }});
    table.push_back(
        {"createStream", 4, {0, -1, -3, -5}, kRefused, [](Context *context, Caller &caller) {
             NubrixStream *handle = nullptr;
             const int status =
                 createStream(context, device(caller), caller.random.oneOf({1U, 2U, 4U}), &handle);
             if (status == 0)
                 caller.world.streams.add({handle, nullptr});
             return status;
         }});
    table.push_back({"startStream",
                     5,
                     {0, -1, -2, -8, -9, -13, kStartFault},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         return startStream(context, stream(caller).handle);
                     }});
    table.push_back(
        {"setStreamCallback", 4, {0, -13}, kRefused, [](Context *context, Caller &caller) {
             Receiver *const receiver = caller.world.newReceiver(nullptr);
             const bool none = caller.random.chance(20);
             return context->setStreamCallback(stream(caller).handle, none ? nullptr : &onFrame,
                                               receiver);
         }});
}

void addClosing(std::vector<Operation> &table)
{
    table.push_back({"stopStream", 4, {0, -13}, kRefused, [](Context *context, Caller &caller) {
                         return stopStream(context, stream(caller).handle);
                     }});
    table.push_back({"closeStream", 7, {0, -13}, kRefused, [](Context *context, Caller &caller) {
                         const StreamEntry entry = stream(caller);
                         const int status = context->closeStream(entry.handle);
                         if (status == 0)
                             noteGone(caller, entry);
                         return status;
                     }});
    table.push_back({"destroyStream", 3, {0, -13}, kRefused, [](Context *context, Caller &caller) {
                         const StreamEntry entry = stream(caller);
                         const int status = destroyStream(context, entry.handle);
                         if (status == 0)
                             noteGone(caller, entry);
                         return status;
                     }});
}

int timeout(Caller &caller)
{
    // A callback that waits for ever keeps its own stream from being closed.
    const bool forEver = caller.origin == Origin::kThread && caller.random.chance(10);
    return forEver ? -1 : caller.random.oneOf({0, 0, 1, 5, 20});
}

void addFrames(std::vector<Operation> &table)
{
    table.push_back({"waitForStreams",
                     8,
                     {0, -9, -10, -11, -13},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         NubrixStream *handles[3] = {};
                         const int count = static_cast<int>(1 + caller.random.below(3));
                         for (int i = 0; i < count; ++i)
                             handles[i] = stream(caller).handle;
                         NubrixStream *ready[1] = {};
                         return context->waitForStreams(handles, count, ready, timeout(caller));
                     }});
    table.push_back(
        {"readFrame", 14, {0, -9, -10, -11, -13}, kRefused, [](Context *context, Caller &caller) {
             typedefNubrixFrame *frame = nullptr;
             const int status = context->readFrame(stream(caller).handle, &frame, timeout(caller));
             if ((status == 0) != (frame != nullptr))
                 caller.world.violation("readFrame gives a frame with a failure");
             if (frame && !caller.world.holdFrame(frame))
                 release(context, caller.world, frame);
             return status;
         }});
    table.push_back({"releaseFrame", 14, {0}, {0, -2}, [](Context *context, Caller &caller) {
                         typedefNubrixFrame *const frame = caller.world.takeFrame(caller.random);
                         return frame ? release(context, caller.world, frame) : kSkipped;
                     }});
    table.push_back(
        {"takePhoto", 2, {0, -1, -2, -4, -8}, kRefused, [](Context *context, Caller &caller) {
             const std::string path = caller.world.library.file("photo.bmp");
             return context->takePhoto(path.c_str());
         }});
}

void addRecorders(std::vector<Operation> &table)
{
    table.push_back(
        {"createRecorder", 3, {0, -1, -5}, kRefused, [](Context *context, Caller &caller) {
             const std::string path = caller.world.library.file(
                 "record" + std::to_string(caller.random.below(8)) + ".bin");
             NubrixRecord *handle = nullptr;
             const int status = context->createRecorder(path.c_str(), &handle);
             if (status == 0)
                 caller.world.recorders.add(handle);
             return status;
         }});
    table.push_back({"recorderAttachStream",
                     4,
                     {0, -1, -4, -13},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         return context->recorderAttachStream(recorder(caller),
                                                              stream(caller).handle);
                     }});
    table.push_back({"recorderStart", 3, {0, -13}, kRefused, [](Context *context, Caller &caller) {
                         return context->recorderStart(recorder(caller));
                     }});
    table.push_back({"recorderStop", 2, {0, -13}, kRefused, [](Context *context, Caller &caller) {
                         return context->recorderStop(recorder(caller));
                     }});
    table.push_back(
        {"destroyRecorder", 3, {0, -13}, kRefused, [](Context *context, Caller &caller) {
             NubrixRecord *const handle = recorder(caller);
             const int status = context->destroyRecorder(handle);
             if (status == 0) {
                 caller.world.recorders.retire([&](NubrixRecord *each) { return each == handle; });
             }
             return status;
         }});
}

void addUpgrades(std::vector<Operation> &table)
{
    const std::vector<int> started = {0, -1, -2, -3, -4, -9};
    table.push_back(
        {"deviceStartUpgradeOffLine", 2, started, {-3}, [](Context *context, Caller &caller) {
             const typedefNubrixUpgradeCallbacks callbacks = {&onProgress, &onFinished,
                                                              &caller.world};
             return context->deviceStartUpgradeOffLine(device(caller), &callbacks,
                                                       caller.world.firmware.c_str());
         }});
    table.push_back(
        {"setDufDeviceFd", 1, kNothingElse, kNothingElse,
         [](Context *context, Caller &) { return context->setDufDeviceFd(1, 2, 3, "x"); }});
    table.push_back(
        {"setDeviceStatusChange", 1, kNothingElse, kNothingElse,
         [](Context *context, Caller &) { return context->setDeviceStatusChange(1, 2, "x", 3); }});
    table.push_back({"setGmslI2CStats", 1, {0, -1}, {0, -1}, [](Context *context, Caller &caller) {
                         return context->setGmslI2CStats(caller.random.chance(50));
                     }});
    table.push_back({"setGmslI2CAddress", 1, {0, -1}, {0, -1}, [](Context *context, Caller &) {
                         return context->setGmslI2CAddress("0x10");
                     }});
}

void addTheRest(std::vector<Operation> &table)
{
    table.push_back({"setLogLevel", 1, kNothingElse, kNothingElse,
                     [](Context *context, Caller &) { return context->setLogLevel(3); }});
    table.push_back({"logInfo", 1, kNothingElse, kNothingElse, [](Context *context, Caller &) {
                         return context->logInfo(NUBRIX_LOG_INFO, "%d", 1);
                     }});
    table.push_back({"setErrorCode", 1, kNothingElse, kNothingElse, [](Context *context, Caller &) {
                         context->setErrorCode(NUBRIX_ERR_NO_FRAME);
                         return 0;
                     }});
    table.push_back(
        {"convertDepthToPointCloud", 1, kNothingElse, kNothingElse, [](Context *context, Caller &) {
             const unsigned short depth[4] = {};
             typedefNubrixPoint3D points[4];
             return context->convertDepthToPointCloud(depth, 2, 2, 1000, 1, 1, 1, 1, points, 1,
                                                      true);
         }});
}

const std::vector<Operation> &operations()
{
    static const std::vector<Operation> table = [] {
        std::vector<Operation> made;
        addLifeCycle(made);
        addDevices(made);
        addModesAndProperties(made);
        addOpening(made);
        addClosing(made);
        addFrames(made);
        addRecorders(made);
        addUpgrades(made);
        addTheRest(made);
        return made;
    }();
    return table;
}

// --- checking

std::vector<int> allowedOf(const Operation &operation, Origin origin, LifeState::State state)
{
    const bool destroys = std::strcmp(operation.name, "destroy") == 0;
    if (destroys && origin != Origin::kThread)
        return {-1};
    if (state == LifeState::State::kInitialized)
        return operation.initialized;
    std::vector<int> allowed = operation.uninitialized;
    if (state == LifeState::State::kUnknown) {
        allowed.insert(allowed.end(), operation.initialized.begin(), operation.initialized.end());
        if (origin != Origin::kThread && std::strcmp(operation.name, "initialize") == 0)
            allowed.push_back(-2);
        if (std::strcmp(operation.name, "takePhoto") == 0)
            allowed.push_back(-9);  // destroy ends its wait
    }
    return allowed;
}

void check(const Operation &operation, const Caller &caller, int status, LifeState::State state)
{
    const std::vector<int> allowed = allowedOf(operation, caller.origin, state);
    if (std::find(allowed.begin(), allowed.end(), status) != allowed.end())
        return;
    constexpr const char *kStates[] = {"a changing", "an initialized", "an uninitialized"};
    std::ostringstream text;
    text << nameOf(caller.origin) << "." << operation.name << " returns " << status << " on "
         << kStates[static_cast<int>(state)] << " context";
    caller.world.violation(text.str());
}

int perform(const Operation &operation, Caller &caller)
{
    World &world = caller.world;
    // A callback runs on a context that exists: destroy waits for it.
    const bool ordinary = caller.origin == Origin::kThread;
    if (ordinary)
        world.contextDoor.enter();
    const LifeState::Snapshot before = world.life.now();
    int status = 0;
    {
        const StallWatch::Call call(world.watch, operation.name);
        status = operation.call(world.context, caller);
    }
    const LifeState::Snapshot after = world.life.now();
    if (ordinary)
        world.contextDoor.leave();
    if (status == kSkipped)
        return status;
    // Its own change of the state is checked where it is called.
    const bool changes = ordinary && (std::strcmp(operation.name, "destroy") == 0 ||
                                      std::strcmp(operation.name, "initialize") == 0);
    const LifeState::State state =
        changes ? LifeState::State::kUnknown : LifeState::between(before, after);
    check(operation, caller, status, state);
    world.countCall(operation.name, caller.origin, status);
    return status;
}

}  // namespace

void callSomething(Caller &caller)
{
    static const std::size_t total =
        std::accumulate(operations().begin(), operations().end(), std::size_t{0},
                        [](std::size_t sum, const Operation &each) { return sum + each.weight; });
    // Refused in callbacks, where nothing else would call it often enough.
    const bool destroys = caller.origin != Origin::kThread && caller.random.chance(4);
    if (destroys && caller.world.isOn(caller.origin, "destroy")) {
        callOperation("destroy", caller);
        return;
    }
    std::size_t place = caller.random.below(total);
    for (const Operation &operation : operations()) {
        if (place >= operation.weight) {
            place -= operation.weight;
            continue;
        }
        if (caller.world.isOn(caller.origin, operation.name))
            perform(operation, caller);
        return;
    }
}

int callOperation(const char *name, Caller &caller)
{
    for (const Operation &operation : operations()) {
        if (std::strcmp(operation.name, name) == 0)
            return perform(operation, caller);
    }
    caller.world.violation(std::string("there is no operation ") + name);
    return -1;
}

}  // namespace nubrix::stress
