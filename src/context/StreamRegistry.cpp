#include "context/StreamRegistry.h"

#include <algorithm>

#include "base/CriticalSectionScoped.h"
#include "stream/VideoStream.h"

namespace nubrix {

StreamRegistry::Pin::~Pin()
{
    if (m_entry)
        m_registry->unpin(*m_entry);
}

StreamRegistry::Pin::Pin(Pin &&other) noexcept
    : m_registry(other.m_registry), m_entry(other.m_entry)
{
    other.m_entry = nullptr;
}

std::list<StreamRegistry::Entry>::iterator StreamRegistry::find(const NubrixStream *handle)
{
    return std::find_if(m_entries.begin(), m_entries.end(),
                        [&](const Entry &entry) { return entry.stream->handle() == handle; });
}

void StreamRegistry::add(VideoStream *stream)
{
    const CriticalSectionScoped guard(m_lock);
    m_entries.push_back({stream, &stream->device(), 0});
}

StreamRegistry::Pin StreamRegistry::pin(const NubrixStream *handle)
{
    const CriticalSectionScoped guard(m_lock);
    const auto found = find(handle);
    if (found == m_entries.end())
        return {};
    ++found->pins;
    return {*this, *found};
}

StreamRegistry::Pin StreamRegistry::pinFirstOf(unsigned int type)
{
    const CriticalSectionScoped guard(m_lock);
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry &entry) {
        return entry.stream->getFrameType() == type;
    });
    if (found == m_entries.end())
        return {};
    ++found->pins;
    return {*this, *found};
}

void StreamRegistry::unpin(Entry &entry)
{
    const CriticalSectionScoped guard(m_lock);
    if (--entry.pins == 0)
        m_changed.notify_all();
}

std::size_t StreamRegistry::size()
{
    const CriticalSectionScoped guard(m_lock);
    return m_entries.size();
}

VideoStream *StreamRegistry::first()
{
    const CriticalSectionScoped guard(m_lock);
    return m_entries.empty() ? nullptr : m_entries.front().stream;
}

VideoStream *StreamRegistry::firstOf(const Device &device)
{
    const CriticalSectionScoped guard(m_lock);
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const Entry &entry) { return entry.device == &device; });
    return found == m_entries.end() ? nullptr : found->stream;
}

StreamRegistry::Removed StreamRegistry::remove(const NubrixStream *handle)
{
    const CriticalSectionScoped guard(m_lock);
    const auto found = find(handle);
    if (found == m_entries.end())
        return nullptr;
    m_removed.splice(m_removed.end(), m_entries, found);
    return &*found;
}

template <class Condition>
void StreamRegistry::waitUntil(Condition condition)
{
    Lockable lockable{m_lock};
    std::unique_lock<Lockable> guard(lockable);
    m_changed.wait(guard, condition);
}

void StreamRegistry::waitUnpinned(Removed removed)
{
    waitUntil([&] { return removed->pins == 0; });
}

void StreamRegistry::forget(Removed removed)
{
    const CriticalSectionScoped guard(m_lock);
    m_removed.remove_if([&](const Entry &entry) { return &entry == removed; });
    m_changed.notify_all();
}

void StreamRegistry::waitForgotten(const Device *device)
{
    waitUntil([&] {
        return std::none_of(m_removed.begin(), m_removed.end(),
                            [&](const Entry &entry) { return !device || entry.device == device; });
    });
}

}  // namespace nubrix
