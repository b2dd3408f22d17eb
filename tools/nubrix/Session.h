// The library, initialized as long as a Session exists.
#pragma once

#include <string>
#include <vector>
#include "nubrix/nubrix.h"

namespace nubrix::tool {

/// An attached camera, as the library lists it.
struct CameraInfo {
    std::string uri;
    std::string serialNumber;
    std::string productName;
    std::string location;
    unsigned int vendorId;
    unsigned int productId;
    int transport;
    unsigned int state;  // a NubrixDeviceState
};

/// Creates and initializes the context; the destructor destroys it. One at a time.
class Session {
public:
    /// Throws a Failure when a driver plug-in does not start.
    Session();
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    NubrixBaseContext &context() { return *m_context; }
    std::vector<CameraInfo> cameras();

private:
    NubrixBaseContext *m_context;
};

}  // namespace nubrix::tool
