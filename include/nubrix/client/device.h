// An open camera, as its streams share it.
#pragma once

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "nubrix/client/library.h"

namespace nubrix {
namespace client {
namespace detail {

/// Who wants to know that the camera is gone.
class PlugListener {
public:
    virtual void onUnplugged() noexcept = 0;

protected:
    ~PlugListener() = default;
};

/// Keeps a camera open. Thread-safe.
class OpenCamera {
public:
    OpenCamera(std::shared_ptr<Library> library, const std::string &uri)
        : m_library(std::move(library)), m_uri(uri)
    {
        // Before it is opened: nothing that happens from then on is missed.
        m_observer = std::make_shared<Observer>([this](const std::string &changed, bool attached) {
            if (!attached && changed == m_uri)
                onUnplugged();
        });
        Observers::instance().add(m_observer);
        try {
            require("openDevice", uri,
                    [this] { return context().openDevice(m_uri.c_str(), &m_handle); });
        } catch (...) {
            Observers::instance().remove(m_observer);
            throw;
        }
        if (m_handle)
            return;
        Observers::instance().remove(m_observer);
        fail("openDevice", -1, 0, "openDevice (" + uri + "): this process has opened it already");
    }
    ~OpenCamera()
    {
        Observers::instance().remove(m_observer);
        context().closeDevice(m_handle);
    }
    OpenCamera(const OpenCamera &) = delete;
    OpenCamera &operator=(const OpenCamera &) = delete;

    NubrixBaseContext &context() const { return m_library->context(); }
    const std::shared_ptr<Library> &library() const { return m_library; }
    NubrixDevice *handle() const { return m_handle; }
    const std::string &uri() const { return m_uri; }
    bool isConnected() const { return m_connected; }

    void add(PlugListener &listener)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_listeners.push_back(&listener);
    }
    /// Waits for a call on another thread.
    void remove(PlugListener &listener)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_listeners.erase(std::remove(m_listeners.begin(), m_listeners.end(), &listener),
                          m_listeners.end());
    }

private:
    void onUnplugged()
    {
        m_connected = false;
        const std::lock_guard<std::mutex> guard(m_lock);
        for (PlugListener *each : m_listeners)
            each->onUnplugged();
    }

    const std::shared_ptr<Library> m_library;
    const std::string m_uri;
    NubrixDevice *m_handle = nullptr;
    std::atomic<bool> m_connected{true};
    std::shared_ptr<Observer> m_observer;
    std::mutex m_lock;
    std::vector<PlugListener *> m_listeners;
};

}  // namespace detail
}  // namespace client
}  // namespace nubrix
