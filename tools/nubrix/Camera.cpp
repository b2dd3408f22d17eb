#include "Camera.h"

#include "Failure.h"

namespace nubrix::tool {

Camera::Camera(Session &session, const std::string &uri) : m_context(session.context()), m_uri(uri)
{
    if (m_uri.empty()) {
        const std::vector<CameraInfo> cameras = session.cameras();
        if (!cameras.empty())
            m_uri = cameras.front().uri;
    }
    const char *address = m_uri.empty() ? nullptr : m_uri.c_str();
    require("openDevice", [&] { return m_context.openDevice(address, &m_device); });
}

Camera::~Camera()
{
    m_context.closeDevice(m_device);
}

std::vector<typedefNubrixFrameMode> Camera::modes(const StreamKind &kind)
{
    const typedefNubrixFrameMode *modes = nullptr;
    unsigned int count = 0;
    std::string problem;
    const int status = attempt(
        std::string("getSupportFrameMode (") + kind.name + ")",
        [&] { return m_context.getSupportFrameMode(m_device, kind.type, &modes, &count); },
        &problem);
    if (status == kStatusNotFound || status == kStatusNotSupported)
        return {};
    if (status != 0)
        throw Failure(problem);
    return {modes, modes + count};
}

std::optional<typedefNubrixFrameMode> Camera::currentMode(const StreamKind &kind)
{
    const typedefNubrixFrameMode *mode = m_context.getCurrentFrameMode(m_device, kind.type);
    if (mode == nullptr)
        return std::nullopt;
    return *mode;
}

void Camera::setMode(const StreamKind &kind, typedefNubrixFrameMode mode)
{
    require(std::string("setFrameMode (") + kind.name + ")",
            [&] { return m_context.setFrameMode(m_device, kind.type, mode); });
}

std::optional<NubrixVersions> Camera::versions()
{
    NubrixVersions versions = {};
    std::string problem;
    const int status = attempt(
        "getVersion", [&] { return m_context.getVersion(m_device, &versions); }, &problem);
    if (status == kStatusNotSupported)
        return std::nullopt;
    if (status != 0)
        throw Failure(problem);
    return versions;
}

std::optional<unsigned int> Camera::flagMode()
{
    unsigned int mode = 0;
    unsigned int size = sizeof(mode);
    std::string problem;
    const int status = attempt(
        "getDeviceProperty (stream flag mode)",
        [&] {
            return m_context.getDeviceProperty(m_device, NUBRIX_PROPERTY_STREAM_FLAG_MODE, &mode,
                                               &size);
        },
        &problem);
    if (status == kStatusNotSupported)
        return std::nullopt;
    if (status != 0)
        throw Failure(problem);
    return mode;
}

void Camera::setFlagMode(unsigned int mode)
{
    require("setStreamFlagMode", [&] { return m_context.setStreamFlagMode(m_device, mode); });
}

}  // namespace nubrix::tool
