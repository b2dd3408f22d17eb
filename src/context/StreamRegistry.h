// The streams of a context: which handles are valid, and who is using one right now.
#pragma once

#include <condition_variable>
#include <list>

#include "base/CriticalSectionWrapper.h"
#include "nubrix/types.h"

namespace nubrix {

class Device;
class VideoStream;

/// A list of at most kMaxStreams streams in the order they were created. Thread-safe; nothing is
/// called while its lock is held.
class StreamRegistry final {
public:
    static constexpr std::size_t kMaxStreams = 60;

private:
    struct Entry {
        VideoStream *stream;
        const Device *device;
        int pins;
    };

public:
    /// Keeps a stream from being deleted for as long as it lives.
    class Pin final {
    public:
        Pin() = default;
        Pin(StreamRegistry &registry, Entry &entry) : m_registry(&registry), m_entry(&entry) {}
        ~Pin();
        Pin(Pin &&other) noexcept;
        Pin &operator=(Pin &&) = delete;

        VideoStream *get() const { return m_entry ? m_entry->stream : nullptr; }
        VideoStream *operator->() const { return get(); }
        explicit operator bool() const { return m_entry != nullptr; }

    private:
        StreamRegistry *m_registry = nullptr;
        Entry *m_entry = nullptr;
    };

    /// `lock` outlives the registry.
    explicit StreamRegistry(CriticalSectionWrapper &lock) : m_lock(lock) {}

    void add(VideoStream *stream);
    /// Pins a stream, nothing if it is not in the list.
    Pin pin(const NubrixStream *handle);
    /// Pins the first stream of a type (a NubrixStreamType), nothing if there is none.
    Pin pinFirstOf(unsigned int type);
    bool isFull() { return size() >= kMaxStreams; }
    std::size_t size();
    /// The first stream in the list, null if it is empty.
    VideoStream *first();
    /// The first stream of a device, null if there is none.
    VideoStream *firstOf(const Device &device);
    using Removed = const Entry *;
    /// Takes a stream off the list, for the caller to delete; null when it is not in the list.
    Removed remove(const NubrixStream *handle);
    /// Waits until nobody uses what was removed. May block, for as long as its users do.
    void waitUnpinned(Removed removed);
    /// Says that what was removed is deleted.
    void forget(Removed removed);
    /// Waits until every removed stream of a device, or of all for null, is deleted. May block, for
    /// as long as those who delete them do.
    void waitForgotten(const Device *device);

private:
    // What a condition variable needs to wait under the context's own kind of lock.
    struct Lockable {
        CriticalSectionWrapper &section;
        void lock() { section.enter(); }
        void unlock() { section.leave(); }
    };

    void unpin(Entry &entry);
    std::list<Entry>::iterator find(const NubrixStream *handle);
    template <class Condition>
    void waitUntil(Condition condition);

    CriticalSectionWrapper &m_lock;
    std::condition_variable_any m_changed;
    std::list<Entry> m_entries;  // both under m_lock
    std::list<Entry> m_removed;
};

}  // namespace nubrix
