// The faults of a virtual camera: how a scenario describes them, and when they happen.
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

/// One fault of one camera. README.md lists the members that each type uses.
struct Fault {
    FaultType type = FaultType::kDrop;
    unsigned int streamType = 0;            ///< 0: every stream
    std::optional<std::uint32_t> atFrame;   ///< frame index
    std::optional<std::uint32_t> atMs;      ///< since the driver was initialised
    std::optional<std::uint32_t> afterMs;   ///< plug: since the camera was unplugged
    std::uint32_t count = 1;                ///< frames or attempts
    std::optional<std::uint32_t> duration;  ///< milliseconds; empty: unlimited
    std::optional<std::uint32_t> bytes;     ///< short_frame, buffer_size_change
    std::uint32_t attempt = 1;              ///< the first attempt that fails, from 1
    int status = -1;                        ///< open_fail, start_fail
    int jumpMs = 0;                         ///< clock_jump
    unsigned int asType = 0;                ///< wrong_type; 0: depth, and colour for depth
    std::uint32_t atBlock = 0;              ///< upgrade_cut: from 0
};

/// Reads a list of faults. Throws ScenarioError.
std::vector<Fault> readFaults(const JsonValue &list);

/// What the faults do to one frame.
struct FrameEffects {
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

/// The faults of one camera and their progress. Times are milliseconds since the driver was
/// initialised. Faults by frame happen in every run of a stream, except unplug and keep_alive_fail,
/// which happen once, as faults by time do. Thread-safe.
class FaultPlan {
public:
    explicit FaultPlan(std::vector<Fault> faults);

    /// The result of an attempt to open the camera: 0, or the status of a fault.
    int openAttempt(std::uint64_t nowMs);
    /// The result of an attempt to start a stream: 0, or the status of a fault.
    int startAttempt(unsigned int streamType, std::uint64_t nowMs);
    /// Bytes that faults add to the buffers of the next start of a stream.
    unsigned int extraBufferBytes(unsigned int streamType) const;

    /// Called when a stream begins to deliver.
    void beginRun(unsigned int streamType);
    /// Called once for each frame, and again for the same frame after a stall.
    FrameEffects effectsOn(unsigned int streamType, std::uint32_t frameIndex, std::uint64_t nowMs);

    /// Whether a fault cuts an upgrade before it writes a block, counted from 0. Called once per
    /// block.
    bool cutsUpgrade(std::uint32_t block);

    bool answersKeepAlive(std::uint64_t nowMs) const;
    /// The delay after which a camera that was just unplugged is plugged in again.
    std::optional<std::uint32_t> nextPlugAfterMs();

    const std::vector<Fault> &faults() const { return m_faults; }

private:
    int attempt(FaultType type, unsigned int streamType, std::uint64_t nowMs);

    /// Progress of a fault on one stream.
    struct Progress {
        std::uint32_t used = 0;  // frames or attempts
        bool stalled = false;
    };
    using Key = std::pair<std::size_t, unsigned int>;  // fault, stream type

    // All below are called with m_lock held.
    bool unplugs(std::size_t index, unsigned int streamType, std::uint32_t frameIndex);
    void applyStall(std::size_t index, unsigned int streamType, std::uint32_t frameIndex,
                    std::uint64_t nowMs, FrameEffects &effects);
    void applyFault(std::size_t index, unsigned int streamType, std::uint32_t frameIndex,
                    std::uint64_t nowMs, FrameEffects &effects);
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
