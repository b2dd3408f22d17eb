// How devices of all drivers close streams. Each device has an array of slots, one per kind of
// stream, whose member `stream` owns the stream that is there, maybe with the stream's thread.
// Stopping a stream waits for its thread, which may take the device's lock: so it is stopped
// without.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>

#include "common/Report.h"
#include "nubrix/driver.h"

namespace nubrix {

/// Destroys one stream and clears the pointer: -4 for one that is in no slot. Thread-safe; `lock`
/// guards the slots.
template <class Slots>
int destroyStreamIn(Slots &slots, std::mutex &lock, NubrixBaseStream **stream)
{
    if (stream == nullptr || *stream == nullptr)
        return kBadArgument;
    decltype(slots.front().stream) gone;
    {
        const std::lock_guard<std::mutex> locked(lock);
        const auto slot = std::find_if(slots.begin(), slots.end(), [&](const auto &candidate) {
            return candidate.stream.get() == *stream;
        });
        if (slot == slots.end())
            return kBadArgument;
        gone = std::move(slot->stream);
    }
    gone->stop();
    *stream = nullptr;
    return kDone;
}

/// Destroys all streams. Thread-safe; `lock` guards the slots.
template <class Slot, std::size_t kSlots>
int closeStreamsIn(std::array<Slot, kSlots> &slots, std::mutex &lock)
{
    std::array<decltype(Slot::stream), kSlots> gone;
    {
        const std::lock_guard<std::mutex> locked(lock);
        for (std::size_t i = 0; i < kSlots; ++i)
            gone[i] = std::move(slots[i].stream);
    }
    for (const auto &stream : gone) {
        if (stream)
            stream->stop();
    }
    return kDone;
}

}  // namespace nubrix
