// Aravis as this driver uses it: owners of its objects, its errors, and its device of a camera
// whose registers are accessed through a channel of the driver.
#pragma once

#include <arv.h>

#include <memory>
#include <string>
#include <utility>

namespace nubrix::net {

class ControlChannel;

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

/// The error of an answer that came after the deadline. Thread-safe.
bool isLate(const Error &error);

/// The status of an error: -9 no answer or no route, -2 another application has the control, -8 no
/// such feature, -4 refused value, -1 otherwise. Thread-safe.
int statusOf(const Error &error);

/// Reports what went wrong with `name` and returns the status. Thread-safe.
int reportError(const std::string &name, const Error &error);

/// Reads the description of the camera, makes its device and takes the control; null with an error
/// otherwise. The channel must outlive it, and its end is that of everything that is done with the
/// device. What Aravis reads to make it goes by a socket of its own, which has no end: see
/// closeAddress. `local` is the host's address towards the camera. Not thread-safe.
ObjectPtr<ArvDevice> makeDevice(ControlChannel &channel, GInetAddress &local, GInetAddress &remote,
                                Error &error);

/// Whatever Aravis sends to this address fails at once from now on, and half a second later
/// whatever it waits for. Thread-safe.
void closeAddress(GInetAddress &address);
/// The same for the address of a device whose last reference is about to be dropped, because Aravis
/// then releases the camera by itself.
void closeAddressOf(ArvDevice &device);

}  // namespace nubrix::net
