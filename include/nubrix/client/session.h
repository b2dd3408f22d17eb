/// @file
/// The way into the client layer.
#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "nubrix/client/camera.h"
#include "nubrix/client/subscription.h"

namespace nubrix {
namespace client {

/// The library in use. All sessions of a process share one context; it is initialized with the
/// first and destroyed when the last session, subscription, camera, stream and frame is gone.
/// Thread-safe.
class Session {
public:
    /// Throws an Error when a driver plug-in does not start.
    Session() : m_library(detail::Library::share()) {}

    /// The attached cameras.
    std::vector<CameraInfo> cameras() const
    {
        std::vector<typedefNubrixeviceAttribute> records(kExpected);
        for (;;) {
            auto count = static_cast<unsigned int>(records.size());
            require("nubrixCopyDeviceList", "",
                    [&] { return nubrixCopyDeviceList(records.data(), &count); });
            const bool isComplete = count <= records.size();
            records.resize(count);
            if (isComplete)
                break;
        }
        std::vector<CameraInfo> all;
        for (const typedefNubrixeviceAttribute &record : records)
            all.push_back(infoOf(record));
        return all;
    }

    /// Opens the camera with this URI, the first of the list without one. Throws an Error when
    /// there is none, when another process has it, or when this one has it open already: copy the
    /// Camera.
    Camera open(const std::string &uri = "") const
    {
        const std::vector<CameraInfo> all = cameras();
        if (uri.empty() && all.empty())
            detail::fail("openDevice", -4, NUBRIX_ERR_DEVICE_NOT_FOUND,
                         detail::describe("openDevice", "", -4, NUBRIX_ERR_DEVICE_NOT_FOUND));
        CameraInfo info;
        info.uri = uri.empty() ? all.front().uri : uri;
        for (const CameraInfo &each : all) {
            if (each.uri == info.uri)
                info = each;
        }
        return Camera(std::make_shared<detail::OpenCamera>(m_library, info.uri), info);
    }

    /// Calls `function` when a camera arrives or leaves, on a thread of its driver, until the
    /// subscription is destroyed. The readers of a camera that left are woken before; the function
    /// may wait for them, and may do everything else. When it throws it is not called again.
    Subscription onCamerasChanged(
        std::function<void(const std::string &uri, bool attached)> function) const
    {
        return Subscription(m_library, std::move(function));
    }

    /// For what this layer does not offer, while this session lives.
    NubrixBaseContext &context() const { return m_library->context(); }

private:
    static constexpr std::size_t kExpected = 8;  // cameras, for which a first request has space

    template <std::size_t size>
    static std::string text(const char (&field)[size])
    {
        return std::string(field, ::strnlen(field, size));
    }
    static CameraInfo infoOf(const typedefNubrixeviceAttribute &record)
    {
        return {text(record.uri),      text(record.serialNumber), text(record.productName),
                text(record.location), record.vendorId,           record.productId,
                record.transport,      record.deviceState};
    }

    std::shared_ptr<detail::Library> m_library;
};

}  // namespace client
}  // namespace nubrix
