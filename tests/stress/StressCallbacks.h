// What the application of the stress test does in its callbacks.
#pragma once

#include "tests/stress/StressWorld.h"

namespace nubrix::stress {

/// `user` is the Receiver of the stream.
void onFrame(NubrixStream *handle, typedefNubrixFrame *frame, void *user);
/// `user` is the World, for these three.
void onState(const char *uri, const char *serial, unsigned int state, void *user);
void onProgress(NubrixDevice *device, int percent, void *user);
void onFinished(NubrixDevice *device, int status, void *user);

/// Looks at a frame and returns it to the context.
int release(NubrixBaseContext *context, World &world, typedefNubrixFrame *frame);

}  // namespace nubrix::stress
