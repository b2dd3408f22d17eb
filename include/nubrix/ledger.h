/// @file
/// Where the frames of a stream went: a record of counters. docs/ledger.md explains them.
#pragma once

#include <cstddef>

#include "nubrix/export.h"
#include "nubrix/types.h"

/// The counters of one stream since it was opened; stopping it does not reset them. Each frame that
/// the driver handed over is in exactly one place, at every moment:
///
///     handedOver == delivered + read + replaced + usedInPlace + discarded + queued
///     held == delivered + read - released
///
/// 160 bytes, with the same layout on 32 and 64 bits. Later versions add fields at the end.
struct NubrixStreamLedger {
    unsigned int size;         ///< set by the caller to sizeof(NubrixStreamLedger)
    unsigned int driverKnows;  ///< 1 when the driver has filled the last four fields, else 0

    unsigned long long handedOver;   ///< frames that the driver handed over to this stream
    unsigned long long delivered;    ///< of them, those passed to the frame callback
    unsigned long long read;         ///< those that readFrame returned
    unsigned long long replaced;     ///< those that a newer one replaced before anyone took them
    unsigned long long usedInPlace;  ///< those that only recorders or photos took
    unsigned long long discarded;    ///< those that nobody took before the stream was stopped or
                                     ///< lost its callback
    unsigned long long queued;       ///< those that wait to be taken, 0 or 1

    unsigned long long released;                 ///< frames that the application has released
    unsigned long long held;                     ///< frames that it has not released yet
    unsigned long long longestHeldMicroseconds;  ///< age of the oldest of them, 0 without one
    unsigned long long callbackMicroseconds;     ///< spent in the callback, a running call included

    unsigned long long toRecorders;  ///< frames passed on to a recorder, once for each recorder
    unsigned long long recorded;     ///< of them, those that were written completely

    // Streams of one type of one camera share these; they count from the opening of this stream.
    unsigned long long refused;    ///< requests of the driver while the application held all frames
    unsigned long long unclaimed;  ///< frames handed over while no stream was connected

    // What the driver knows (NUBRIX_PROPERTY_STREAM_COUNTERS), since it last started the camera's
    // stream. 0 while driverKnows is 0.
    unsigned long long lostOnWire;        ///< frames that never reached the driver
    unsigned long long damaged;           ///< dropped by the driver, which could not use them
    unsigned long long flagged;           ///< handed over short or damaged, with flags other than 0
    unsigned long long droppedWhileSlow;  ///< dropped because the application held all frames
};

extern "C" {

/// Fills the ledger of a stream. `ledger->size` is the size of the caller's record on entry, at
/// least 16, and on return the number of bytes that were filled: the smaller one of the sizes that
/// caller and library know, rounded down to a multiple of 8. The rest of the caller's record is set
/// to zero. Nothing is written on failure.
///
/// 0; -4 for a null ledger or a size below 16; -2 before initialize; -13 for a handle that is not
/// an open stream's. The figures of one call belong to one moment, except the driver's, which are
/// read after it. Any thread, callbacks included; may block while a camera is opened.
NUBRIX_API int nubrixStreamLedger(NubrixStream *stream, NubrixStreamLedger *ledger);

}  // extern "C"

static_assert(sizeof(NubrixStreamLedger) == 160, "stream ledger");
static_assert(offsetof(NubrixStreamLedger, handedOver) == 8, "stream ledger");
static_assert(offsetof(NubrixStreamLedger, queued) == 56, "stream ledger");
static_assert(offsetof(NubrixStreamLedger, released) == 64, "stream ledger");
static_assert(offsetof(NubrixStreamLedger, toRecorders) == 96, "stream ledger");
static_assert(offsetof(NubrixStreamLedger, refused) == 112, "stream ledger");
static_assert(offsetof(NubrixStreamLedger, lostOnWire) == 128, "stream ledger");
static_assert(offsetof(NubrixStreamLedger, droppedWhileSlow) == 152, "stream ledger");
