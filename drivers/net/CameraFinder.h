// Asks all who could be cameras, and hears who answers.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "net/Gvcp.h"

namespace nubrix::net {

/// Answers may be late: a camera may put off that to a broadcast for a second, so that not all send
/// at once. Not thread-safe.
class CameraFinder {
public:
    struct Answer {
        NetIdentity camera;
        std::string sender;  ///< not the camera's own address where addresses are translated
    };

    /// Throws std::system_error when there is no descriptor left.
    CameraFinder();

    /// Asks on every interface that is up, and at `addresses`. Does not wait.
    void ask(const std::vector<std::string> &addresses);
    /// Waits until `end` for an answer to any of the questions.
    std::optional<Answer> await(UdpSocket::Clock::time_point end);

private:
    UdpSocket m_socket;
};

}  // namespace nubrix::net
