/// @file
/// The library for C++ programs: sessions, cameras, streams, frames and recordings as objects that
/// end what they began, and errors that name the remedy. C++17, on the public interface alone; link
/// the library as ever. docs/client.md has recipes.

/// @namespace nubrix::client
/// The client layer: the library for C++17, as objects that end what they began.
#pragma once

#include "nubrix/client/camera.h"
#include "nubrix/client/cloud.h"
#include "nubrix/client/error.h"
#include "nubrix/client/frame.h"
#include "nubrix/client/ledger.h"
#include "nubrix/client/recording.h"
#include "nubrix/client/session.h"
#include "nubrix/client/stream.h"
