#include "virtual/ScenarioFaults.h"

#include <algorithm>
#include <limits>

#include "nubrix/types.h"

namespace nubrix {

namespace {

constexpr std::int64_t kMostFrames = 1000000000;
constexpr std::int64_t kMostMs = 1000000000;
constexpr std::int64_t kMostBytes = 16 << 20;

/// Which keys a type of fault takes besides "type".
struct Kind {
    const char *name;
    FaultType type;
    bool needsMoment;  ///< one of at_frame, at_ms and after_ms, as far as the keys have them
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

std::string listOf(const std::vector<std::string> &names)
{
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
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

/// When it happens, and that this is said once and fits the other keys.
void readMoment(const JsonValue &object, const Kind &kind, Fault &fault)
{
    fault.atFrame = readCount(object, "at_frame", 0, kMostFrames);
    fault.atMs = readCount(object, "at_ms", 0, kMostMs);
    fault.afterMs = readCount(object, "after_ms", 0, kMostMs);
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

/// What a type that is about more than a moment says besides.
void readDetails(const JsonValue &object, Fault &fault)
{
    const bool isBuffer = fault.type == FaultType::kBufferSizeChange;
    fault.count = readCount(object, "count", 1, kMostFrames)
                      .value_or(isBuffer ? std::numeric_limits<std::uint32_t>::max() : 1);
    fault.duration = readCount(object, "duration_ms", 1, kMostMs);
    fault.bytes = readCount(object, "bytes", isBuffer ? 1 : 0, kMostBytes);
    fault.attempt = readCount(object, "attempt", 1, kMostFrames).value_or(1);
    if (isBuffer) {
        fault.attempt = readCount(object, "start", 1, kMostFrames).value_or(2);
        fault.bytes = fault.bytes.value_or(4096);
    }
    if (fault.type == FaultType::kUpgradeCut) {
        const auto block = readCount(object, "at_block", 0, kMostFrames);
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
    fault.jumpMs = readNonZero(*by, kMostMs);
}

Fault readFault(const JsonValue &object)
{
    object.members();  // an object, then
    const Kind &kind = kindOf(object);
    std::vector<std::string> keys = {"type"};
    keys.insert(keys.end(), kind.keys.begin(), kind.keys.end());
    requireKnownKeys(object, keys);
    Fault fault;
    fault.type = kind.type;
    if (const auto stream = object.member("stream"))
        fault.streamType = streamTypeOf(*stream);
    readMoment(object, kind, fault);
    readDetails(object, fault);
    return fault;
}

}  // namespace

std::vector<Fault> readFaults(const JsonValue &list)
{
    std::vector<Fault> faults;
    for (const JsonValue &item : list.items())
        faults.push_back(readFault(item));
    return faults;
}

void requireKnownKeys(const JsonValue &object, const std::vector<std::string> &names)
{
    for (const auto &[name, value] : object.members()) {
        if (std::find(names.begin(), names.end(), name) == names.end())
            value.fail("there is no such key here; there are " + listOf(names));
    }
}

}  // namespace nubrix
