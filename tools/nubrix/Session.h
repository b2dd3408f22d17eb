// The library in use: initialized while this lives.
#pragma once

#include <string>
#include <vector>
#include "nubrix/nubrix.h"

namespace nubrix::tool {

/// What the library's list says of an attached camera.
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

/// Makes and initializes the context, and takes it down. One at a time.
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
