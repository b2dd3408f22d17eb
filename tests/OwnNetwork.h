// A network of a test program's own: only its loopback is in it, and every port of it is free.
#pragma once

#include <string>

namespace nubrix {

/// Moves the calling thread into such a network, with the addresses 127.0.0.1 and 127.0.0.2, and
/// with it all threads and processes that it starts from then on. Empty when that was done,
/// otherwise why it cannot be done here. To be called once, before other threads are started.
std::string enterOwnNetwork();

}  // namespace nubrix
