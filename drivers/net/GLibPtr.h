// Owners of what GLib and Aravis hand out.
#pragma once

#include <arv.h>

#include <memory>
#include <string>
#include <utility>

namespace nubrix::net {

struct ObjectReleaser {
    void operator()(void *object) const { g_object_unref(object); }
};

struct MemoryReleaser {
    void operator()(void *memory) const { g_free(memory); }
};

template <class T>
using ObjectPtr = std::unique_ptr<T, ObjectReleaser>;

template <class T>
using MemoryPtr = std::unique_ptr<T, MemoryReleaser>;

/// Where a function of GLib's writes what went wrong. Not thread-safe.
class Error {
public:
    Error() = default;
    ~Error() { g_clear_error(&m_error); }
    Error(const Error &) = delete;
    Error &operator=(const Error &) = delete;

    /// For one call; forgets what was before.
    GError **out()
    {
        g_clear_error(&m_error);
        return &m_error;
    }
    explicit operator bool() const { return m_error != nullptr; }
    std::string text() const { return m_error == nullptr ? "unknown error" : m_error->message; }
    const GError *get() const { return m_error; }

private:
    GError *m_error = nullptr;
};

}  // namespace nubrix::net
