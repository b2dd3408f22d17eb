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
    m_entries.push_back({stream, 0});
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

void StreamRegistry::unpin(Entry &entry)
{
    const CriticalSectionScoped guard(m_lock);
    if (--entry.pins == 0)
        m_unpinned.notify_all();
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
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry &entry) {
        return &entry.stream->device() == &device;
    });
    return found == m_entries.end() ? nullptr : found->stream;
}

StreamRegistry::Removed StreamRegistry::remove(const NubrixStream *handle)
{
    const CriticalSectionScoped guard(m_lock);
    Removed removed;
    const auto found = find(handle);
    if (found != m_entries.end())
        removed.splice(removed.end(), m_entries, found);
    return removed;
}

void StreamRegistry::waitUnpinned(const Removed &removed)
{
    Lockable lockable{m_lock};
    std::unique_lock<Lockable> guard(lockable);
    m_unpinned.wait(guard, [&] {
        return std::all_of(removed.begin(), removed.end(),
                           [](const Entry &entry) { return entry.pins == 0; });
    });
}

}  // namespace nubrix
