#include "Command.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace nubrix::vm {

std::string commandSocket(const std::string &name)
{
    return "/run/camera-" + name;
}

std::string sendCommand(const std::string &name, const std::string &command)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof(address.sun_path), "%s", commandSocket(name).c_str());
    const int descriptor = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        close(descriptor);
        throw std::runtime_error("no camera " + name);
    }
    send(descriptor, command.data(), command.size(), MSG_NOSIGNAL);
    char text[200];
    const ssize_t size = recv(descriptor, text, sizeof(text), 0);
    close(descriptor);
    return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : std::string();
}

}  // namespace nubrix::vm
