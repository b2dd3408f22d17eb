// Decides what goes wrong with one virtual camera, and when.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace nubrix::virtual_camera {

class JsonValue;

enum class FaultType {
    kUnplug,
    kPlug,
    kStall,
    kDrop,
    kShortFrame,
    kEmptyFrame,
    kWrongType,
    kClockJump,
    kKeepAliveFail,
    kOpenFail,
    kStartFail,
    kBufferSizeChange,
    kUpgradeCut,
};

/// One fault of one camera. README.md tells which members go with which type.
struct Fault {
    FaultType type = FaultType::kDrop;
    unsigned int streamType = 0;            ///< 0: every stream
    std::optional<std::uint32_t> atFrame;   ///< frame index
    std::optional<std::uint32_t> atMs;      ///< since the driver was initialised
    std::optional<std::uint32_t> afterMs;   ///< plug: since the camera was unplugged
    std::uint32_t count = 1;                ///< frames or attempts
    std::optional<std::uint32_t> duration;  ///< milliseconds; empty: for ever
    std::optional<std::uint32_t> bytes;     ///< short_frame, buffer_size_change
    std::uint32_t attempt = 1;              ///< the first attempt that it concerns, from 1
    int status = -1;                        ///< open_fail, start_fail
    int jumpMs = 0;                         ///< clock_jump
    unsigned int asType = 0;                ///< wrong_type; 0: depth, and colour for depth
    std::uint32_t atBlock = 0;              ///< upgrade_cut: from 0
};

/// Reads a list of faults. Throws ScenarioError.
std::vector<Fault> readFaults(const JsonValue &list);

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

}  // namespace nubrix::virtual_camera
