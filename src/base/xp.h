// The smart pointer to counted objects.
#pragma once

namespace nubrix {

/// Holds one reference to an object with incRef() and release(), or none. Not thread-safe itself;
/// several may hold one object on several threads.
template <class T>
class xp final {
public:
    xp() = default;
    explicit xp(T *object) { *this = object; }
    xp(const xp &other) { *this = other.m_object; }
    ~xp() { *this = nullptr; }

    // The new reference is taken before the old one is dropped, so that assigning the object that
    // is held already keeps it alive.
    xp &operator=(T *object)
    {
        if (object)
            object->incRef();
        if (m_object)
            m_object->release();
        m_object = object;
        return *this;
    }
    xp &operator=(const xp &other)  // NOLINT(bugprone-unhandled-self-assignment): see above
    {
        return *this = other.m_object;
    }

    T *get() const { return m_object; }
    T *operator->() const { return m_object; }
    T &operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }

private:
    T *m_object = nullptr;
};

}  // namespace nubrix
