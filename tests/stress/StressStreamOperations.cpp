#include "tests/stress/StressCallbacks.h"
#include "tests/stress/StressHandles.h"
#include "tests/stress/StressTable.h"

namespace nubrix::stress {

namespace {

using Context = NubrixBaseContext;

constexpr std::size_t kStreams = 8;  // at once; each takes its time to stop

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
    table.push_back({"nubrixStreamLedger", 6, {0, -13}, kRefused, [](Context *, Caller &caller) {
                         return caller.world.checkLedger(stream(caller).handle);
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

}  // namespace

void addStreamOperations(std::vector<Operation> &table)
{
    addOpening(table);
    addClosing(table);
    addFrames(table);
    addRecorders(table);
}

}  // namespace nubrix::stress
