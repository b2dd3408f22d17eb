/// @file
/// Functions that are called when a camera arrives or leaves.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "nubrix/client/detail/library.h"

namespace nubrix {
namespace client {
namespace detail {

/// Calls a function of the application, one call at a time.
class FunctionObserver final : public CameraObserver {
public:
    using Function = std::function<void(const std::string &uri, bool attached)>;

    explicit FunctionObserver(Function function) : m_function(std::move(function)) {}

    void onCameraChanged(const char *uri, bool attached) noexcept override
    {
        const auto self = std::this_thread::get_id();
        std::unique_lock<std::mutex> guard(m_lock);
        m_idle.wait(guard, [&] { return m_depth == 0 || m_runner == self; });
        if (m_ended || !m_function)
            return;  // whoever ended it takes the function
        m_runner = self;
        ++m_depth;
        guard.unlock();
        bool threw = false;
        try {
            m_function(uri, attached);
        } catch (...) {  // nothing may reach the driver
            threw = true;
        }
        guard.lock();
        m_ended = m_ended || threw;
        --m_depth;
        m_idle.notify_all();
        const Function ended = takeEnded();
        guard.unlock();  // what the function holds is destroyed without the lock
    }
    /// No call begins afterwards. Waits for one that runs, but not within a callback: two of them
    /// might wait for each other.
    void end() noexcept
    {
        std::unique_lock<std::mutex> guard(m_lock);
        m_ended = true;
        if (!CallbackMark::isActive())
            m_idle.wait(guard, [this] { return m_depth == 0; });
        const Function ended = takeEnded();
        guard.unlock();
    }

private:
    /// The function once it will not be called any more; otherwise none. Under m_lock.
    Function takeEnded() noexcept
    {
        Function function;
        if (m_ended && m_depth == 0)
            function.swap(m_function);
        return function;
    }

    std::mutex m_lock;    // guards what follows
    Function m_function;  // itself called without the lock: it stays while a call runs
    std::condition_variable m_idle;
    std::thread::id m_runner;
    int m_depth = 0;
    bool m_ended = false;
};

}  // namespace detail

/// Ends the calls of a function when it is destroyed, and keeps the library initialized until then.
/// Afterwards no call begins, and none runs, unless it is destroyed within a callback of this
/// layer: that does not wait for a call that runs.
class Subscription {
public:
    /// Of nothing.
    Subscription() = default;
    /// @{
    /// Moved from one owner to the next, not copied; what is assigned to ends its calls.
    Subscription(Subscription &&) noexcept = default;
    Subscription &operator=(Subscription &&other) noexcept
    {
        Subscription old(std::move(other));
        old.m_library.swap(m_library);
        old.m_observer.swap(m_observer);
        return *this;
    }
    Subscription(const Subscription &) = delete;
    Subscription &operator=(const Subscription &) = delete;
    /// @}
    /// Ends the calls.
    ~Subscription()
    {
        if (!m_observer)
            return;
        detail::Observers::instance().remove(m_observer);
        m_observer->end();
    }

private:
    friend class Session;
    Subscription(std::shared_ptr<detail::Library> library,
                 detail::FunctionObserver::Function function)
        : m_library(std::move(library)),
          m_observer(std::make_shared<detail::FunctionObserver>(std::move(function)))
    {
        detail::Observers::instance().addFunction(m_observer);
    }

    std::shared_ptr<detail::Library> m_library;
    std::shared_ptr<detail::FunctionObserver> m_observer;
};

}  // namespace client
}  // namespace nubrix
