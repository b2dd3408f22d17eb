#include "virtual/FaultPlan.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "nubrix/types.h"
#include "virtual/JsonDocument.h"

namespace nubrix::virtual_camera {

namespace {

constexpr std::int64_t kMaxFrames = 1000000000;
constexpr std::int64_t kMaxMs = 1000000000;
constexpr std::int64_t kMaxBytes = 16 << 20;

/// A type of fault and its keys, without "type".
struct Kind {
    const char *name;
    FaultType type;
    bool needsMoment;  ///< one of at_frame, at_ms and after_ms is required, as far as `keys` lists
                       ///< them
    std::vector<std::string> keys;
};

const std::vector<Kind> &kinds()
{
    static const std::vector<Kind> all = {
        {"unplug", FaultType::kUnplug, true, {"at_frame", "at_ms", "stream"}},
        {"plug", FaultType::kPlug, true, {"at_ms", "after_ms"}},
        {"stall", FaultType::kStall, true, {"at_frame", "at_ms", "stream", "duration_ms"}},
        {"drop", FaultType::kDrop, true, {"at_frame", "at_ms", "stream", "count"}},
        {"short_frame",
         FaultType::kShortFrame,
         true,
         {"at_frame", "at_ms", "stream", "count", "bytes"}},
        {"empty_frame", FaultType::kEmptyFrame, true, {"at_frame", "at_ms", "stream", "count"}},
        {"wrong_type", FaultType::kWrongType, true, {"at_frame", "at_ms", "stream", "count", "as"}},
        {"clock_jump", FaultType::kClockJump, true, {"at_frame", "at_ms", "by_ms"}},
        {"keep_alive_fail",
         FaultType::kKeepAliveFail,
         true,
         {"at_frame", "at_ms", "stream", "duration_ms"}},
        {"open_fail", FaultType::kOpenFail, false, {"at_ms", "attempt", "count", "status"}},
        {"start_fail",
         FaultType::kStartFail,
         false,
         {"at_ms", "stream", "attempt", "count", "status"}},
        {"buffer_size_change",
         FaultType::kBufferSizeChange,
         false,
         {"stream", "start", "count", "bytes"}},
        {"upgrade_cut", FaultType::kUpgradeCut, false, {"at_block", "count"}},
    };
    return all;
}

const Kind &kindOf(const JsonValue &fault)
{
    const auto type = fault.member("type");
    if (!type)
        fault.fail("the key type is missing");
    const std::string name = type->text();
    std::vector<std::string> names;
    for (const Kind &kind : kinds()) {
        if (name == kind.name)
            return kind;
        names.emplace_back(kind.name);
    }
    type->fail("there is no fault \"" + name + "\"; there are " + listOf(names));
}

unsigned int streamTypeOf(const JsonValue &value)
{
    const std::string name = value.text();
    if (name == "color")
        return NUBRIX_STREAM_COLOR;
    if (name == "depth")
        return NUBRIX_STREAM_DEPTH;
    if (name == "ir")
        return NUBRIX_STREAM_IR;
    if (name == "light-ir")
        return NUBRIX_STREAM_LIGHT_IR;
    value.fail("there is no stream \"" + name + "\"; there are color, depth, ir, light-ir");
}

std::optional<std::uint32_t> readCount(const JsonValue &object, const std::string &name,
                                       std::int64_t least, std::int64_t most)
{
    const auto value = object.member(name);
    if (!value)
        return std::nullopt;
    return static_cast<std::uint32_t>(value->integer(least, most));
}

int readNonZero(const JsonValue &value, std::int64_t most)
{
    const auto number = value.integer(-most, most);
    if (number == 0)
        value.fail("must not be 0");
    return static_cast<int>(number);
}

/// Reads the time or frame of a fault, which must be given once and fit the other keys.
void readMoment(const JsonValue &object, const Kind &kind, Fault &fault)
{
    fault.atFrame = readCount(object, "at_frame", 0, kMaxFrames);
    fault.atMs = readCount(object, "at_ms", 0, kMaxMs);
    fault.afterMs = readCount(object, "after_ms", 0, kMaxMs);
    const int moments = (fault.atFrame ? 1 : 0) + (fault.atMs ? 1 : 0) + (fault.afterMs ? 1 : 0);
    const std::string choice =
        kind.type == FaultType::kPlug ? "at_ms or after_ms" : "at_frame or at_ms";
    if (kind.needsMoment && moments == 0)
        object.fail("one of " + choice + " is missing");
    if (moments > 1)
        object.fail("only one of " + choice + " may be there");
    const bool ofCamera = kind.type == FaultType::kUnplug || kind.type == FaultType::kKeepAliveFail;
    if (const auto stream = object.member("stream"); stream && ofCamera && !fault.atFrame)
        stream->fail("only goes with at_frame here");
}

/// Reads the members that only some types have.
void readDetails(const JsonValue &object, Fault &fault)
{
    const bool isBuffer = fault.type == FaultType::kBufferSizeChange;
    fault.count = readCount(object, "count", 1, kMaxFrames)
                      .value_or(isBuffer ? std::numeric_limits<std::uint32_t>::max() : 1);
    fault.duration = readCount(object, "duration_ms", 1, kMaxMs);
    fault.bytes = readCount(object, "bytes", isBuffer ? 1 : 0, kMaxBytes);
    fault.attempt = readCount(object, "attempt", 1, kMaxFrames).value_or(1);
    if (isBuffer) {
        fault.attempt = readCount(object, "start", 1, kMaxFrames).value_or(2);
        fault.bytes = fault.bytes.value_or(4096);
    }
    if (fault.type == FaultType::kUpgradeCut) {
        const auto block = readCount(object, "at_block", 0, kMaxFrames);
        if (!block)
            object.fail("the key at_block is missing");
        fault.atBlock = *block;
    }
    if (const auto status = object.member("status"))
        fault.status = readNonZero(*status, 1000000);
    if (const auto as = object.member("as"))
        fault.asType = streamTypeOf(*as);
    if (fault.type != FaultType::kClockJump)
        return;
    const auto by = object.member("by_ms");
    if (!by)
        object.fail("the key by_ms is missing");
    fault.jumpMs = readNonZero(*by, kMaxMs);
}

Fault readFault(const JsonValue &object)
{
    object.members();  // throws for anything but an object
    const Kind &kind = kindOf(object);
    std::vector<std::string> keys = {"type"};
    keys.insert(keys.end(), kind.keys.begin(), kind.keys.end());
    object.requireKeysAmong(keys);
    Fault fault;
    fault.type = kind.type;
    if (const auto stream = object.member("stream"))
        fault.streamType = streamTypeOf(*stream);
    readMoment(object, kind, fault);
    readDetails(object, fault);
    return fault;
}

bool concerns(const Fault &fault, unsigned int streamType)
{
    return fault.streamType == 0 || fault.streamType == streamType;
}

bool isOver(const std::optional<std::uint32_t> &duration, std::uint64_t sinceMs,
            std::uint64_t nowMs)
{
    return duration && nowMs - sinceMs >= *duration;
}

}  // namespace

std::vector<Fault> readFaults(const JsonValue &list)
{
    std::vector<Fault> faults;
    for (const JsonValue &item : list.items())
        faults.push_back(readFault(item));
    return faults;
}

FaultPlan::FaultPlan(std::vector<Fault> faults)
    : m_faults(std::move(faults)), m_spent(m_faults.size(), false)
{
}

int FaultPlan::openAttempt(std::uint64_t nowMs)
{
    return attempt(FaultType::kOpenFail, 0, nowMs);
}

int FaultPlan::startAttempt(unsigned int streamType, std::uint64_t nowMs)
{
    const int status = attempt(FaultType::kStartFail, streamType, nowMs);
    const std::lock_guard<std::mutex> lock(m_lock);
    ++m_starts[streamType];
    return status;
}

int FaultPlan::attempt(FaultType type, unsigned int streamType, std::uint64_t nowMs)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    int status = 0;
    for (std::size_t i = 0; i < m_faults.size(); ++i) {
        const Fault &fault = m_faults[i];
        if (fault.type != type || !concerns(fault, streamType) || nowMs < fault.atMs.value_or(0))
            continue;
        const std::uint32_t ordinal = ++m_progress[Key(i, streamType)].used;
        if (ordinal >= fault.attempt && ordinal - fault.attempt < fault.count && status == 0)
            status = fault.status;
    }
    return status;
}

unsigned int FaultPlan::extraBufferBytes(unsigned int streamType) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const auto starts = m_starts.find(streamType);
    const std::uint32_t next = starts == m_starts.end() ? 1 : starts->second + 1;
    unsigned int extra = 0;
    for (const Fault &fault : m_faults) {
        if (fault.type == FaultType::kBufferSizeChange && concerns(fault, streamType) &&
            next >= fault.attempt && next - fault.attempt < fault.count)
            extra += fault.bytes.value_or(0);
    }
    return extra;
}

void FaultPlan::beginRun(unsigned int streamType)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    for (std::size_t i = 0; i < m_faults.size(); ++i) {
        if (m_faults[i].type == FaultType::kStall)
            m_progress[Key(i, streamType)].stalled = false;
    }
}

FrameEffects FaultPlan::effectsOn(unsigned int streamType, std::uint32_t frameIndex,
                                  std::uint64_t nowMs)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    FrameEffects effects;
    for (std::size_t i = 0; i < m_faults.size() && !effects.unplug; ++i)
        effects.unplug = unplugs(i, streamType, frameIndex);
    // A stalled frame is queried again, so nothing else may be counted for it now.
    for (std::size_t i = 0; i < m_faults.size() && !effects.unplug && !effects.stall; ++i)
        applyStall(i, streamType, frameIndex, nowMs, effects);
    for (std::size_t i = 0; i < m_faults.size() && !effects.unplug && !effects.stall; ++i) {
        if (concerns(m_faults[i], streamType))
            applyFault(i, streamType, frameIndex, nowMs, effects);
    }
    return effects;
}

bool FaultPlan::cutsUpgrade(std::uint32_t block)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    for (std::size_t i = 0; i < m_faults.size(); ++i) {
        const Fault &fault = m_faults[i];
        if (fault.type == FaultType::kUpgradeCut && fault.atBlock == block &&
            m_progress[Key(i, 0)].used < fault.count) {
            ++m_progress[Key(i, 0)].used;
            return true;
        }
    }
    return false;
}

bool FaultPlan::answersKeepAlive(std::uint64_t nowMs) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    for (std::size_t i = 0; i < m_faults.size(); ++i) {
        const Fault &fault = m_faults[i];
        if (fault.type != FaultType::kKeepAliveFail)
            continue;
        std::optional<std::uint64_t> since;
        if (const auto lost = m_keepAliveLost.find(i); lost != m_keepAliveLost.end())
            since = lost->second;
        else if (fault.atMs)
            since = *fault.atMs;
        if (since && nowMs >= *since && !isOver(fault.duration, *since, nowMs))
            return false;
    }
    return true;
}

std::optional<std::uint32_t> FaultPlan::nextPlugAfterMs()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    for (std::size_t i = 0; i < m_faults.size(); ++i) {
        const Fault &fault = m_faults[i];
        if (fault.type == FaultType::kPlug && fault.afterMs && !m_spent[i]) {
            m_spent[i] = true;
            return fault.afterMs;
        }
    }
    return std::nullopt;
}

bool FaultPlan::unplugs(std::size_t index, unsigned int streamType, std::uint32_t frameIndex)
{
    const Fault &fault = m_faults[index];
    if (fault.type != FaultType::kUnplug || !concerns(fault, streamType) || m_spent[index])
        return false;
    if (!fault.atFrame || frameIndex < *fault.atFrame)
        return false;
    m_spent[index] = true;
    return true;
}

void FaultPlan::applyStall(std::size_t index, unsigned int streamType, std::uint32_t frameIndex,
                           std::uint64_t nowMs, FrameEffects &effects)
{
    const Fault &fault = m_faults[index];
    if (fault.type != FaultType::kStall || !concerns(fault, streamType))
        return;
    if (fault.atFrame) {
        bool &stalled = m_progress[Key(index, streamType)].stalled;
        if (stalled || frameIndex < *fault.atFrame)
            return;
        stalled = true;
        effects.stall = true;
        effects.stallMs = fault.duration;
    } else if (fault.atMs && nowMs >= *fault.atMs && !isOver(fault.duration, *fault.atMs, nowMs)) {
        effects.stall = true;
        if (fault.duration)
            effects.stallMs = static_cast<std::uint32_t>(*fault.atMs + *fault.duration - nowMs);
    }
}

bool FaultPlan::hitsFrame(std::size_t index, unsigned int streamType, std::uint32_t frameIndex,
                          std::uint64_t nowMs)
{
    const Fault &fault = m_faults[index];
    if (fault.atFrame)
        return frameIndex >= *fault.atFrame && frameIndex - *fault.atFrame < fault.count;
    std::uint32_t &used = m_progress[Key(index, streamType)].used;
    if (!fault.atMs || nowMs < *fault.atMs || used >= fault.count)
        return false;
    ++used;
    return true;
}

void FaultPlan::applyFault(std::size_t index, unsigned int streamType, std::uint32_t frameIndex,
                           std::uint64_t nowMs, FrameEffects &effects)
{
    const Fault &fault = m_faults[index];
    const bool reached = fault.atFrame ? frameIndex >= *fault.atFrame
                                       : fault.atMs.has_value() && nowMs >= *fault.atMs;
    if (fault.type == FaultType::kClockJump && reached)
        effects.clockOffsetUs += std::int64_t{1000} * fault.jumpMs;
    if (fault.type == FaultType::kKeepAliveFail && reached && fault.atFrame)
        m_keepAliveLost.emplace(index, nowMs);
    if (fault.type != FaultType::kDrop && fault.type != FaultType::kEmptyFrame &&
        fault.type != FaultType::kShortFrame && fault.type != FaultType::kWrongType)
        return;
    if (!hitsFrame(index, streamType, frameIndex, nowMs))
        return;
    effects.drop |= fault.type == FaultType::kDrop;
    effects.empty |= fault.type == FaultType::kEmptyFrame;
    if (fault.type == FaultType::kShortFrame) {
        effects.shortened = true;
        effects.bytes = fault.bytes;
    } else if (fault.type == FaultType::kWrongType) {
        effects.wrongType = true;
        effects.asType = fault.asType;
    }
}

}  // namespace nubrix::virtual_camera
