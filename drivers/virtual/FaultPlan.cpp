#include "virtual/FaultPlan.h"

#include <utility>

namespace nubrix {

namespace {

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

FrameOrders FaultPlan::ordersFor(unsigned int streamType, std::uint32_t frameIndex,
                                 std::uint64_t nowMs)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    FrameOrders orders;
    for (std::size_t i = 0; i < m_faults.size() && !orders.unplug; ++i)
        orders.unplug = unplugs(i, streamType, frameIndex);
    // A stalled frame is asked for again, so that nothing else may be counted for it now.
    for (std::size_t i = 0; i < m_faults.size() && !orders.unplug && !orders.stall; ++i)
        orderStall(i, streamType, frameIndex, nowMs, orders);
    for (std::size_t i = 0; i < m_faults.size() && !orders.unplug && !orders.stall; ++i) {
        if (concerns(m_faults[i], streamType))
            obey(i, streamType, frameIndex, nowMs, orders);
    }
    return orders;
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

bool FaultPlan::keepsAlive(std::uint64_t nowMs) const
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

void FaultPlan::orderStall(std::size_t index, unsigned int streamType, std::uint32_t frameIndex,
                           std::uint64_t nowMs, FrameOrders &orders)
{
    const Fault &fault = m_faults[index];
    if (fault.type != FaultType::kStall || !concerns(fault, streamType))
        return;
    if (fault.atFrame) {
        bool &stalled = m_progress[Key(index, streamType)].stalled;
        if (stalled || frameIndex < *fault.atFrame)
            return;
        stalled = true;
        orders.stall = true;
        orders.stallMs = fault.duration;
    } else if (fault.atMs && nowMs >= *fault.atMs && !isOver(fault.duration, *fault.atMs, nowMs)) {
        orders.stall = true;
        if (fault.duration)
            orders.stallMs = static_cast<std::uint32_t>(*fault.atMs + *fault.duration - nowMs);
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

void FaultPlan::obey(std::size_t index, unsigned int streamType, std::uint32_t frameIndex,
                     std::uint64_t nowMs, FrameOrders &orders)
{
    const Fault &fault = m_faults[index];
    const bool reached = fault.atFrame ? frameIndex >= *fault.atFrame
                                       : fault.atMs.has_value() && nowMs >= *fault.atMs;
    if (fault.type == FaultType::kClockJump && reached)
        orders.clockOffsetUs += std::int64_t{1000} * fault.jumpMs;
    if (fault.type == FaultType::kKeepAliveFail && reached && fault.atFrame)
        m_keepAliveLost.emplace(index, nowMs);
    if (fault.type != FaultType::kDrop && fault.type != FaultType::kEmptyFrame &&
        fault.type != FaultType::kShortFrame && fault.type != FaultType::kWrongType)
        return;
    if (!hitsFrame(index, streamType, frameIndex, nowMs))
        return;
    orders.drop |= fault.type == FaultType::kDrop;
    orders.empty |= fault.type == FaultType::kEmptyFrame;
    if (fault.type == FaultType::kShortFrame) {
        orders.shortened = true;
        orders.bytes = fault.bytes;
    } else if (fault.type == FaultType::kWrongType) {
        orders.wrongType = true;
        orders.asType = fault.asType;
    }
}

}  // namespace nubrix
