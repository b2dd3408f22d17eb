// Sends discovery requests to network cameras and receives their answers.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "net/Gvcp.h"

namespace nubrix::net {

/// Sends discovery requests and receives the answers. A camera may delay its answer to a broadcast
/// by up to a second, so that not all answer at once. Not thread-safe.
class CameraFinder {
public:
    struct Answer {
        NetIdentity camera;
        std::string sender;  ///< differs from the camera's address behind address translation
    };

    /// `searchesInterfaces`: requests go to all interfaces, not only to given addresses. Throws
    /// std::system_error when there is no descriptor left.
    explicit CameraFinder(bool searchesInterfaces);

    /// Sends a request to all that are searched, and to `addresses`. Does not wait.
    void sendRequests(const std::vector<std::string> &addresses);
    /// Waits for an answer to any of the requests, until `end`. Returns nothing earlier when a host
    /// refuses a request, because nobody receives it there.
    std::optional<Answer> awaitAnswer(UdpSocket::Clock::time_point end);
    /// Whether a camera may still answer the first requests: a broadcast has been sent, or a host
    /// has neither answered nor refused its request.
    bool isAnswerPossible() const { return m_hasBroadcast || !m_unanswered.empty(); }

private:
    void sendTo(const sockaddr_in &host, const Packet &request);
    void sendToInterfaces(const Packet &request);

    const UdpSocket m_socket;
    const bool m_searchesInterfaces;
    bool m_isFirst = true;        // no requests have been sent yet
    bool m_hasBroadcast = false;  // this and the next: of the first requests
    std::set<std::string> m_unanswered;
};

}  // namespace nubrix::net
