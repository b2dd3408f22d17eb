// The one context of the process, shared by everything of the client layer.
#pragma once

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "nubrix/client/error.h"
#include "nubrix/context.h"

namespace nubrix {
namespace client {
namespace detail {

/// Marks the thread while it runs a callback of the library.
class NUBRIX_API CallbackMark {
public:
    CallbackMark() : m_outer(std::exchange(here(), true)) {}
    ~CallbackMark() { here() = m_outer; }
    CallbackMark(const CallbackMark &) = delete;
    CallbackMark &operator=(const CallbackMark &) = delete;

    static bool isActive() { return here(); }

private:
    static bool &here()
    {
        static thread_local bool active = false;
        return active;
    }

    const bool m_outer;
};

/// Whoever is called when a camera arrives or leaves, on a thread of its driver.
class CameraObserver {
public:
    virtual void onCameraChanged(const char *uri, bool attached) noexcept = 0;

protected:
    ~CameraObserver() = default;
};

/// All observers of the process. It outlives every context, as callbacks of drivers may.
class NUBRIX_API Observers {
public:
    static Observers &instance()
    {
        static auto *const all = new Observers;  // never destroyed
        return *all;
    }
    /// A connection is called before all functions, and under the lock: it takes no memory, and
    /// calls nothing of the application.
    void addConnection(std::shared_ptr<CameraObserver> connection)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_connections.push_back(std::move(connection));
    }
    void addFunction(std::shared_ptr<CameraObserver> function)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_functions.push_back(std::move(function));
    }
    /// A call of a function may be under way, or about to begin, on another thread.
    void remove(const std::shared_ptr<CameraObserver> &observer) noexcept
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        for (auto *list : {&m_connections, &m_functions})
            list->erase(std::remove(list->begin(), list->end(), observer), list->end());
    }
    static void onDeviceState(const char *uri, const char * /*serial*/, unsigned int state,
                              void * /*user*/)
    {
        const CallbackMark mark;
        instance().notify(uri ? uri : "", state == NUBRIX_DEVICE_CONNECTED);
    }

private:
    void notify(const char *uri, bool attached) noexcept
    {
        {
            // First: a function may wait for those who read the frames of this camera.
            const std::lock_guard<std::mutex> guard(m_lock);
            for (const auto &each : m_connections)
                each->onCameraChanged(uri, attached);
        }
        try {
            for (const auto &each : functions())
                each->onCameraChanged(uri, attached);
        } catch (...) {  // out of memory: the list of cameras is right all the same
        }
    }
    std::vector<std::shared_ptr<CameraObserver>> functions()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return m_functions;
    }

    std::mutex m_lock;  // guards what follows
    std::vector<std::shared_ptr<CameraObserver>> m_connections;
    std::vector<std::shared_ptr<CameraObserver>> m_functions;
};

/// The initialized context. Sessions, cameras, streams and frames share it; the last of them
/// destroys it. The context object itself stays for the next one.
class NUBRIX_API Library {
    /// Only share makes one, but make_shared must be able to call the constructor.
    struct Key {
        explicit Key() = default;
    };

public:
    /// Throws an Error when a driver plug-in does not start, or within a callback that destroy
    /// waits for.
    static std::shared_ptr<Library> share()
    {
        if (auto library = shared().current())
            return library;
        if (CallbackMark::isActive())  // initialize would wait for destroy, which waits for this
            fail("initialize", "within a callback", -2);
        const std::lock_guard<std::mutex> guard(shared().change);
        auto library = shared().current();
        if (!library) {
            library = std::make_shared<Library>(Key());
            shared().set(library);
        }
        return library;
    }
    explicit Library(Key /*key*/) : m_context(ContextFactory())
    {
        if (!m_context)
            fail("ContextFactory", "", -1);
        try {
            require("initialize", "", [this] { return m_context->initialize(); });
            require("setDeviceStateCallback", "", [this] {
                return m_context->setDeviceStateCallback(&Observers::onDeviceState, nullptr);
            });
        } catch (...) {
            m_context->destroy();  // also closes the plug-ins that were loaded before one failed
            throw;
        }
    }
    ~Library()
    {
        // destroy is refused there: the context lives on, and the next session takes it over.
        if (CallbackMark::isActive())
            return;
        const std::lock_guard<std::mutex> guard(shared().change);
        if (!shared().isInUse())  // otherwise a new session has taken it over already
            m_context->destroy();
    }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;

    NubrixBaseContext &context() const { return *m_context; }

private:
    struct Shared {
        std::shared_ptr<Library> current()
        {
            const std::lock_guard<std::mutex> guard(lock);
            return library.lock();
        }
        /// Makes no owner: the caller holds `change`, which the last owner's destructor takes.
        bool isInUse()
        {
            const std::lock_guard<std::mutex> guard(lock);
            return !library.expired();
        }
        void set(const std::shared_ptr<Library> &made)
        {
            const std::lock_guard<std::mutex> guard(lock);
            library = made;
        }

        std::mutex change;  // one initialize or destroy at a time
        std::mutex lock;    // guards what follows
        std::weak_ptr<Library> library;
    };
    static Shared &shared()
    {
        static auto *const one = new Shared;  // never destroyed: a static frame may outlive it
        return *one;
    }

    NubrixBaseContext *const m_context;
};

}  // namespace detail
}  // namespace client
}  // namespace nubrix
