// Aravis as this driver uses it: owners of its objects, its errors, and a device whose registers
// are accessed through the control channel of the driver.
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

/// Owner of the error that a function of GLib reports. Not thread-safe.
class Error {
public:
    Error() = default;
    ~Error() { g_clear_error(&m_error); }
    Error(const Error &) = delete;
    Error &operator=(const Error &) = delete;

    /// The argument of one call; drops the error of the call before.
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
/// otherwise. The channel must outlive the device, and its deadline holds for all accesses to the
/// device. While the device is made, Aravis reads by a socket of its own, which has no deadline:
/// see invalidateAddress. `local` is the address of the host on the camera's network. Not
/// thread-safe.
ObjectPtr<ArvDevice> makeDevice(ControlChannel &channel, GInetAddress &local, GInetAddress &remote,
                                Error &error);

/// From now on, Aravis' packets to this address fail at once, and its waiting requests fail within
/// half a second. Thread-safe.
void invalidateAddress(GInetAddress &address);
/// The same for the address of a device. Must precede the release of its last reference, on which
/// Aravis tries to reach the camera.
void invalidateAddressOf(ArvDevice &device);

}  // namespace nubrix::net
