// The applications of a soak run. Each function works until the run is over, on a thread of its
// own, and rests with everything closed when that is due.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tests/Random.h"
#include "tests/soak/World.h"

namespace nubrix::soak {

/// Threads that rest: those of the functions below, two of them visitors, and a callback.
inline constexpr int kRestingThreads = 6;

/// Streams that stay open for the whole run: colour by a callback, depth by the calling thread.
/// They rest with a frame in their hands, so that the camera waits. Starts the callback at once,
/// and calls `started` when frames come.
void readSteadyCamera(World &world, const std::function<void()> &started);
/// Opens a camera that is unplugged again and again, starts streams, takes photos, makes clouds.
void visitCamera(World &world, const std::string &uri, std::uint64_t seed);
/// Records into files of which old ones are removed; now and then too late, so that the disk is
/// full.
void recordFilms(World &world);
/// Starts a network camera with the program `simulator`, reads it, and kills it.
void killNetworkCamera(World &world, const std::string &simulator, std::uint64_t seed);

}  // namespace nubrix::soak
