// The way into the client layer.
#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "nubrix/client/camera.h"

namespace nubrix {
namespace client {

/// Ends the calls of a function when it is destroyed: none runs or begins afterwards, but the one
/// from within which it is destroyed.
class Subscription {
public:
    Subscription() = default;
    Subscription(Subscription &&) noexcept = default;
    Subscription &operator=(Subscription &&other) noexcept
    {
        std::swap(m_observer, other.m_observer);
        return *this;
    }
    Subscription(const Subscription &) = delete;
    Subscription &operator=(const Subscription &) = delete;
    ~Subscription()
    {
        if (m_observer)
            detail::Observers::instance().remove(m_observer);
    }

private:
    friend class Session;
    explicit Subscription(std::shared_ptr<detail::Observer> observer)
        : m_observer(std::move(observer))
    {
    }

    std::shared_ptr<detail::Observer> m_observer;
};

/// The library in use. All sessions of a process share one context; it is initialized with the
/// first and destroyed when the last session, camera, stream and frame is gone. Thread-safe.
class Session {
public:
    /// Throws an Error when a driver plug-in does not start.
    Session() : m_library(detail::Library::share()) {}

    /// The attached cameras.
    std::vector<CameraInfo> cameras() const
    {
        typedefNubrixeviceAttribute *records = nullptr;
        unsigned int count = 0;
        detail::require("nubrixGetDeviceList", "",
                        [&] { return context().nubrixGetDeviceList(&records, &count); });
        std::vector<CameraInfo> all;
        for (unsigned int i = 0; i < count; ++i)
            all.push_back(infoOf(records[i]));
        return all;
    }

    /// Opens the camera with this URI, the first of the list without one. Throws an Error when
    /// there is none, when another process has it, or when this one has it open already: copy the
    /// Camera.
    Camera open(const std::string &uri = "") const
    {
        const std::vector<CameraInfo> all = cameras();
        CameraInfo info;
        info.uri = uri.empty() && !all.empty() ? all.front().uri : uri;
        for (const CameraInfo &each : all) {
            if (each.uri == info.uri)
                info = each;
        }
        return Camera(std::make_shared<detail::OpenCamera>(m_library, info.uri), info);
    }

    /// Calls `function` when a camera arrives or leaves, on a thread of its driver, until the
    /// subscription is destroyed. A function that throws is not called again.
    Subscription onCamerasChanged(
        std::function<void(const std::string &uri, bool attached)> function) const
    {
        auto observer = std::make_shared<detail::Observer>(std::move(function));
        detail::Observers::instance().add(observer);
        return Subscription(std::move(observer));
    }

    /// For what this layer does not offer, while this session lives.
    NubrixBaseContext &context() const { return m_library->context(); }

private:
    template <std::size_t size>
    static std::string text(const char (&field)[size])
    {
        return std::string(field, ::strnlen(field, size));
    }
    static CameraInfo infoOf(const typedefNubrixeviceAttribute &record)
    {
        return {text(record.uri),      text(record.serialNumber), text(record.productName),
                text(record.location), record.vendorId,           record.productId,
                record.transport};
    }

    std::shared_ptr<detail::Library> m_library;
};

}  // namespace client
}  // namespace nubrix
