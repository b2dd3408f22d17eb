#include "CameraPort.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace nubrix::simulate {

namespace {

/// Error number of binding a socket to the port; 0 on success.
int tryPort(in_addr address)
{
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return errno;
    sockaddr_in place = {};
    place.sin_family = AF_INET;
    place.sin_port = htons(kCameraPort);
    place.sin_addr = address;
    const auto *generic = static_cast<const sockaddr *>(static_cast<const void *>(&place));
    const int error = bind(descriptor, generic, sizeof place) == 0 ? 0 : errno;
    close(descriptor);
    return error;
}

}  // namespace

void requireCameraPort(const std::string &address)
{
    in_addr parsed = {};
    if (inet_pton(AF_INET, address.c_str(), &parsed) != 1)
        throw std::runtime_error(address + " is no IPv4 address");
    const std::string port = std::to_string(kCameraPort);
    switch (const int error = tryPort(parsed)) {
        case 0:
            return;
        case EADDRNOTAVAIL:
            throw std::runtime_error(address +
                                     " is no address of this machine; 'ip -4 address' lists "
                                     "those, 'sudo ip address add' gives it another one");
        case EADDRINUSE:
            throw std::runtime_error("port " + port + " of " + address +
                                     " is taken: end the other camera ('nubrix doctor' names "
                                     "it), or choose another --address");
        default:
            throw std::runtime_error("port " + port + " of " + address + ": " +
                                     std::strerror(error));
    }
}

}  // namespace nubrix::simulate
