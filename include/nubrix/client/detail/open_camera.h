// An open camera, as its streams share it.
#pragma once

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "nubrix/client/detail/frame_pool.h"
#include "nubrix/client/detail/library.h"

namespace nubrix {
namespace client {
namespace detail {

/// Whoever is notified that a camera has left.
class PlugListener {
public:
    virtual void onUnplugged() noexcept = 0;

protected:
    ~PlugListener() = default;
};

/// Whether a camera is attached. The observers of the process share it, so it holds nothing else.
class Connection final : public CameraObserver {
public:
    explicit Connection(std::string uri) : m_uri(std::move(uri)) {}

    void onCameraChanged(const char *uri, bool attached) noexcept override
    {
        if (attached || m_uri != uri)
            return;
        m_attached = false;
        const std::lock_guard<std::mutex> guard(m_lock);
        for (PlugListener *each : m_listeners)
            each->onUnplugged();
    }
    void add(PlugListener &listener)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_listeners.push_back(&listener);
    }
    /// Waits for a notification that another thread makes.
    void remove(PlugListener &listener) noexcept
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_listeners.erase(std::remove(m_listeners.begin(), m_listeners.end(), &listener),
                          m_listeners.end());
    }
    bool isAttached() const { return m_attached; }
    const std::string &uri() const { return m_uri; }

private:
    const std::string m_uri;
    std::atomic<bool> m_attached{true};
    std::mutex m_lock;
    std::vector<PlugListener *> m_listeners;
};

/// Keeps a camera open. Thread-safe.
class OpenCamera {
public:
    OpenCamera(std::shared_ptr<Library> library, const std::string &uri)
        : m_library(std::move(library)), m_connection(std::make_shared<Connection>(uri))
    {
        Observers::instance().addConnection(
            m_connection);  // before it is opened, or an event may be missed
        try {
            require("openDevice", uri,
                    [&] { return context().openDevice(uri.c_str(), &m_handle); });
            if (!m_handle) {
                fail("openDevice", -1, 0,
                     "openDevice (" + uri +
                         "): this process has opened it already; copy that Camera or, if the "
                         "camera left and returned, destroy the Camera, streams and recorders "
                         "from before first");
            }
        } catch (...) {
            Observers::instance().remove(m_connection);
            throw;
        }
    }
    ~OpenCamera()
    {
        Observers::instance().remove(m_connection);
        context().closeDevice(m_handle);
    }
    OpenCamera(const OpenCamera &) = delete;
    OpenCamera &operator=(const OpenCamera &) = delete;

    NubrixBaseContext &context() const { return m_library->context(); }
    NubrixDevice *handle() const { return m_handle; }
    Connection &connection() const { return *m_connection; }

    /// Guards the current modes, of which the library gives its own record.
    std::mutex &modeLock() { return m_modeLock; }

    std::shared_ptr<FramePool> makePool(unsigned int streamType)
    {
        auto pool = std::make_shared<FramePool>(m_library, streamType);
        const std::lock_guard<std::mutex> guard(m_lock);
        m_pools.erase(std::remove_if(m_pools.begin(), m_pools.end(),
                                     [](const auto &each) { return each.expired(); }),
                      m_pools.end());
        m_pools.push_back(pool);
        return pool;
    }

    /// Who has the frames of one stream type.
    struct Holders {
        int application = 0;
        int queues = 0;
        /// What no stream of this layer has: the newest frame, recorders, raw streams.
        int library() const
        {
            return std::max(0, static_cast<int>(FramePool::kFrames) - application - queues);
        }
    };
    Holders holders(unsigned int streamType)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        Holders sum;
        for (const auto &each : m_pools) {
            const auto pool = each.lock();
            if (!pool || pool->streamType() != streamType)
                continue;
            const int queued = pool->queued();
            sum.queues += queued;
            sum.application += std::max(0, pool->taken() - queued);
        }
        return sum;
    }

private:
    const std::shared_ptr<Library> m_library;
    const std::shared_ptr<Connection> m_connection;
    NubrixDevice *m_handle = nullptr;
    std::mutex m_modeLock;
    std::mutex m_lock;
    std::vector<std::weak_ptr<FramePool>> m_pools;  // under m_lock
};

}  // namespace detail
}  // namespace client
}  // namespace nubrix
