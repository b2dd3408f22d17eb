// One opened camera.
#pragma once

#include <optional>
#include <string>
#include <vector>
#include "Names.h"
#include "Session.h"

namespace nubrix::tool {

/// Opens a camera and closes it. A call of the library that fails throws a Failure.
class Camera {
public:
    /// An empty URI opens the first camera of the list.
    Camera(Session &session, const std::string &uri);
    ~Camera();
    Camera(const Camera &) = delete;
    Camera &operator=(const Camera &) = delete;

    /// The modes of a stream; none when the camera has no such stream.
    std::vector<typedefNubrixFrameMode> modes(const StreamKind &kind);
    std::optional<typedefNubrixFrameMode> currentMode(const StreamKind &kind);
    void setMode(const StreamKind &kind, typedefNubrixFrameMode mode);

    /// The version record of the camera; none when it does not support it.
    std::optional<NubrixVersions> versions();
    std::optional<unsigned int> flagMode();
    void setFlagMode(unsigned int mode);

    const std::string &uri() const { return m_uri; }
    NubrixDevice *handle() { return m_device; }
    NubrixBaseContext &context() { return m_context; }

private:
    NubrixBaseContext &m_context;
    std::string m_uri;
    NubrixDevice *m_device = nullptr;
};

}  // namespace nubrix::tool
