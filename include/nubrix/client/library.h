// The one context of the process, shared by everything of the client layer.
#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "nubrix/client/error.h"
#include "nubrix/context.h"

namespace nubrix {
namespace client {
namespace detail {

/// Marks the thread while it runs a function of the application for the library.
class CallbackMark {
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

/// Somebody who is called when a camera arrives or leaves.
class Observer {
public:
    using Function = std::function<void(const std::string &uri, bool attached)>;

    explicit Observer(Function function) : m_function(std::move(function)) {}
    void call(const std::string &uri, bool attached) noexcept
    {
        const std::lock_guard<std::recursive_mutex> guard(m_lock);
        const CallbackMark mark;
        try {
            if (m_function && !m_ended)
                m_function(uri, attached);
        } catch (...) {
            m_ended = true;  // nothing may reach the library; one that throws is not called again
        }
    }
    /// Waits for a call on another thread; none begins afterwards.
    void end()
    {
        const std::lock_guard<std::recursive_mutex> guard(m_lock);
        m_ended = true;
    }

private:
    std::recursive_mutex m_lock;
    const Function m_function;
    bool m_ended = false;
};

/// All observers of the process. It outlives every context, as callbacks of drivers may.
class Observers {
public:
    static Observers &instance()
    {
        static auto *const all = new Observers;  // never destroyed
        return *all;
    }
    void add(std::shared_ptr<Observer> observer)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_all.push_back(std::move(observer));
    }
    void remove(const std::shared_ptr<Observer> &observer)
    {
        {
            const std::lock_guard<std::mutex> guard(m_lock);
            m_all.erase(std::remove(m_all.begin(), m_all.end(), observer), m_all.end());
        }
        observer->end();
    }
    static void onDeviceState(const char *uri, const char * /*serial*/, unsigned int state,
                              void * /*user*/)
    {
        try {
            const std::string address = uri ? uri : "";
            for (const auto &each : instance().all())
                each->call(address, state == NUBRIX_DEVICE_CONNECTED);
        } catch (...) {  // without memory: the list of cameras is right all the same
        }
    }

private:
    std::vector<std::shared_ptr<Observer>> all()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return m_all;
    }

    std::mutex m_lock;
    std::vector<std::shared_ptr<Observer>> m_all;
};

/// The initialized context. Sessions, cameras, streams and frames share it; the last of them
/// destroys it. The context itself stays for the next one.
class Library {
public:
    /// Throws an Error when a driver plug-in does not start, or within a callback that destroy
    /// waits for.
    static std::shared_ptr<Library> share()
    {
        static auto *const shared = new Shared;  // never destroyed: a frame may be static, too
        if (auto library = shared->current())
            return library;
        if (CallbackMark::isActive())  // initialize would wait for destroy, which waits for this
            fail("initialize", -2, 0, describe("initialize", "within a callback", -2, 0));
        const std::lock_guard<std::mutex> guard(shared->making);
        auto library = shared->current();
        if (!library) {
            library = std::shared_ptr<Library>(new Library);
            shared->set(library);
        }
        return library;
    }
    // Refused within a callback: then the context lives on, and the next session takes it over.
    ~Library() { m_context->destroy(); }
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
        void set(const std::shared_ptr<Library> &made)
        {
            const std::lock_guard<std::mutex> guard(lock);
            library = made;
        }

        std::mutex making;  // one at a time
        std::mutex lock;    // what follows
        std::weak_ptr<Library> library;
    };

    Library() : m_context(ContextFactory())
    {
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

    NubrixBaseContext *const m_context;
};

}  // namespace detail
}  // namespace client
}  // namespace nubrix
