// Decides what goes wrong with one virtual camera, and when.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "virtual/Scenario.h"

namespace nubrix {

/// What is to happen to one frame.
struct FrameOrders {
    bool unplug = false;                   ///< instead of this frame
    bool stall = false;                    ///< before this frame
    std::optional<std::uint32_t> stallMs;  ///< empty: for ever
    bool drop = false;
    bool empty = false;
    bool shortened = false;
    std::optional<std::uint32_t> bytes;  ///< of a shortened frame; empty: half of it
    bool wrongType = false;
    unsigned int asType = 0;
    std::int64_t clockOffsetUs = 0;
};

/// The faults of one camera and how far they have come. Times are milliseconds since the driver was
/// initialised. Faults by frame happen in every run of a stream anew, except unplug and
/// keep_alive_fail; faults by time happen once. Thread-safe.
class FaultPlan {
public:
    explicit FaultPlan(std::vector<Fault> faults);

    /// The result of an attempt to open the camera: 0, or the status it fails with.
    int openAttempt(std::uint64_t nowMs);
    /// The same for starting a stream.
    int startAttempt(unsigned int streamType, std::uint64_t nowMs);
    /// Bytes that the next start of a stream adds to its buffers.
    unsigned int extraBufferBytes(unsigned int streamType) const;

    /// A stream begins to deliver.
    void beginRun(unsigned int streamType);
    /// Asked once for each frame, and again for the same frame after a stall.
    FrameOrders ordersFor(unsigned int streamType, std::uint32_t frameIndex, std::uint64_t nowMs);

    /// Whether an upgrade is cut before it writes a block, counted from 0. Asked once for each.
    bool cutsUpgrade(std::uint32_t block);

    bool keepsAlive(std::uint64_t nowMs) const;
    /// When a camera that has just been unplugged comes back by itself.
    std::optional<std::uint32_t> nextPlugAfterMs();

    const std::vector<Fault> &faults() const { return m_faults; }

private:
    int attempt(FaultType type, unsigned int streamType, std::uint64_t nowMs);

    /// How far a fault has come on one stream.
    struct Progress {
        std::uint32_t used = 0;  // frames or attempts
        bool stalled = false;
    };
    using Key = std::pair<std::size_t, unsigned int>;  // fault, stream type

    // All below: with m_lock held.
    bool unplugs(std::size_t index, unsigned int streamType, std::uint32_t frameIndex);
    void orderStall(std::size_t index, unsigned int streamType, std::uint32_t frameIndex,
                    std::uint64_t nowMs, FrameOrders &orders);
    void obey(std::size_t index, unsigned int streamType, std::uint32_t frameIndex,
              std::uint64_t nowMs, FrameOrders &orders);
    bool hitsFrame(std::size_t index, unsigned int streamType, std::uint32_t frameIndex,
                   std::uint64_t nowMs);

    const std::vector<Fault> m_faults;
    mutable std::mutex m_lock;
    std::map<Key, Progress> m_progress;                    // everything below is under m_lock
    std::map<unsigned int, std::uint32_t> m_starts;        // by stream type
    std::map<std::size_t, std::uint64_t> m_keepAliveLost;  // fault by frame: when it happened
    std::vector<bool> m_spent;                             // unplug by frame, plug after unplug
};

}  // namespace nubrix
