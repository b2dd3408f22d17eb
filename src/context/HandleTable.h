// The objects behind the handles of one kind that an application holds.
#pragma once

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "base/Mutex.h"

namespace nubrix {

/// Devices, streams or recorders, in the order of creation. A look-up shares the object and keeps
/// it alive. A retired object has lost its handle but is not shut down yet. Thread-safe; while the
/// lock is held, only the conditions of look-ups and the action of forEach are called.
template <class Object>
class HandleTable final {
public:
    using Pointer = std::shared_ptr<Object>;
    using Handle = decltype(std::declval<Object &>().handle());

    /// Throws std::bad_alloc, and then nothing was added. Afterwards retire needs no memory.
    void add(Pointer object)
    {
        const MutexLock guard(m_mutex);
        m_objects.reserve(m_objects.size() + 1);
        m_retired.reserve(m_objects.size() + 1 + m_retired.size());
        m_objects.push_back(std::move(object));
    }
    /// The object of a handle, null when the handle is not valid.
    Pointer find(Handle handle) const
    {
        return findIf([&](Object &object) { return object.handle() == handle; });
    }
    /// The objects of several handles in their order, none when one of the handles is not valid.
    std::vector<Pointer> findAll(const Handle *handles, std::size_t count) const
    {
        std::vector<Pointer> found;
        const MutexLock guard(m_mutex);
        found.reserve(std::min(count, m_objects.size()));
        auto next = m_objects.begin();
        for (std::size_t i = 0; i < count; ++i) {
            next = findFrom(next, handles[i]);
            if (next == m_objects.end())
                return {};
            found.push_back(*next++);
        }
        return found;
    }
    /// Whether the handles of all these objects are valid.
    bool haveAll(const std::vector<Pointer> &objects) const
    {
        const MutexLock guard(m_mutex);
        auto next = m_objects.begin();
        for (const Pointer &object : objects) {
            next = findFrom(next, object->handle());
            if (next == m_objects.end() || *next++ != object)
                return false;
        }
        return true;
    }
    /// The first object that meets a condition, null without one.
    template <class Condition>
    Pointer findIf(Condition condition) const
    {
        const MutexLock guard(m_mutex);
        return firstOf(m_objects, condition);
    }
    Pointer first() const
    {
        return findIf([](Object &) { return true; });
    }
    template <class Action>
    void forEach(Action action) const
    {
        const MutexLock guard(m_mutex);
        for (const Pointer &each : m_objects)
            action(*each);
    }
    std::size_t size() const
    {
        const MutexLock guard(m_mutex);
        return m_objects.size();
    }
    std::vector<Pointer> all() const
    {
        const MutexLock guard(m_mutex);
        return m_objects;
    }
    std::vector<Pointer> retired() const
    {
        const MutexLock guard(m_mutex);
        return m_retired;
    }

    /// The first retired object that meets a condition, null without one.
    template <class Condition>
    Pointer findRetiredIf(Condition condition) const
    {
        const MutexLock guard(m_mutex);
        return firstOf(m_retired, condition);
    }

    /// Makes a handle invalid, and keeps the object until forget. Null when it was not valid.
    Pointer retire(Handle handle)
    {
        const MutexLock guard(m_mutex);
        Pointer object = take(handle);
        if (object)
            m_retired.push_back(object);
        return object;
    }
    /// Drops a retired object.
    void forget(const Pointer &object)
    {
        const MutexLock guard(m_mutex);
        m_retired.erase(std::remove(m_retired.begin(), m_retired.end(), object), m_retired.end());
    }
    /// Makes a handle invalid and returns the object, null when it was not valid.
    Pointer remove(Handle handle)
    {
        const MutexLock guard(m_mutex);
        return take(handle);
    }

private:
    template <class Condition>
    static Pointer firstOf(const std::vector<Pointer> &objects, Condition &condition)
    {
        const auto found = std::find_if(objects.begin(), objects.end(),
                                        [&](const Pointer &each) { return condition(*each); });
        return found == objects.end() ? nullptr : *found;
    }
    // Most callers name objects in the order of their creation, so the search goes on from `begin`.
    auto findFrom(typename std::vector<Pointer>::const_iterator begin, Handle handle) const
        NUBRIX_REQUIRES(m_mutex)
    {
        if (begin != m_objects.end() && (*begin)->handle() == handle)
            return begin;
        const auto matches = [&](const Pointer &each) { return each->handle() == handle; };
        const auto found = std::find_if(begin, m_objects.end(), matches);
        if (found != m_objects.end())
            return found;
        const auto before = std::find_if(m_objects.begin(), begin, matches);
        return before == begin ? m_objects.end() : before;
    }
    Pointer take(Handle handle) NUBRIX_REQUIRES(m_mutex)
    {
        const auto found =
            std::find_if(m_objects.begin(), m_objects.end(),
                         [&](const Pointer &each) { return each->handle() == handle; });
        if (found == m_objects.end())
            return nullptr;
        Pointer object = std::move(*found);
        m_objects.erase(found);
        return object;
    }

    mutable Mutex m_mutex;
    std::vector<Pointer> m_objects NUBRIX_GUARDED_BY(m_mutex);
    std::vector<Pointer> m_retired NUBRIX_GUARDED_BY(m_mutex);
};

}  // namespace nubrix
