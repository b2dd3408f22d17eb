// Aravis' device of a camera whose registers are read and written by a channel of the driver's.
#pragma once

#include <string>

#include "net/ControlChannel.h"
#include "net/GLibPtr.h"

namespace nubrix::net {

/// Reads the description of the camera, makes its device and takes the control; null with an error
/// otherwise. The channel must outlive it, and its end is that of everything that is done with the
/// device. What Aravis reads to make it goes by a socket of its own, which has no end: see
/// closeAddress. `local` is the host's address towards the camera. Not thread-safe.
ObjectPtr<ArvDevice> makeDevice(ControlChannel &channel, GInetAddress &local, GInetAddress &remote,
                                Error &error);

/// Whatever Aravis sends to this address fails at once from now on, and half a second later
/// whatever it waits for. Thread-safe.
void closeAddress(GInetAddress &address);
/// The same for the address of a device whose last reference is about to be dropped, because Aravis
/// then releases the camera by itself.
void closeAddressOf(ArvDevice &device);

/// The error of an answer that came, but too late. Thread-safe.
bool isLate(const Error &error);

}  // namespace nubrix::net
