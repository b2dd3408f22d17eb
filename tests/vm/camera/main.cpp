// software_camera: a USB depth camera without hardware, plugged into the kernel's virtual host
// controller, and the way to send it commands.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include "Camera.h"
#include "Command.h"

namespace {

using nubrix::vm::Camera;

[[noreturn]] void fail(const std::string &what)
{
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

sockaddr_un addressOf(const std::string &name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof(address.sun_path), "%s",
                  nubrix::vm::commandSocket(name).c_str());
    return address;
}

int openSocket()
{
    const int descriptor = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        fail("socket");
    }
    return descriptor;
}

std::string receive(int descriptor)
{
    char text[200];
    const ssize_t size = recv(descriptor, text, sizeof(text), 0);
    return size > 0 ? std::string(text, static_cast<std::size_t>(size)) : std::string();
}

// Returns false when the camera is to end.
bool answer(int listener, Camera &camera)
{
    const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) {
        return true;
    }
    const std::string command = receive(client);
    const bool quit = command == "quit";
    const std::string reply = quit ? "ok" : camera.obey(command);
    send(client, reply.data(), reply.size(), MSG_NOSIGNAL);
    close(client);
    return !quit;
}

int untilMs(nubrix::vm::StreamChannel::Clock::time_point when)
{
    using Clock = nubrix::vm::StreamChannel::Clock;
    if (when == Clock::time_point::max()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(when - Clock::now());
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

int run(const std::string &name, const Camera::Options &options)
{
    const int listener = openSocket();
    const sockaddr_un address = addressOf(name);
    unlink(address.sun_path);
    Camera camera(options);
    if (bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 ||
        listen(listener, 4) != 0) {
        fail(address.sun_path);
    }
    for (bool go = true; go;) {
        pollfd waiting[] = {{listener, POLLIN, 0}, {camera.descriptor(), POLLIN, 0}};
        if (poll(waiting, 2, untilMs(camera.pump())) < 0 && errno != EINTR) {
            fail("poll");
        }
        if (waiting[1].revents != 0) {
            camera.serve();
        }
        if (waiting[0].revents != 0) {
            go = answer(listener, camera);
        }
    }
    unlink(address.sun_path);
    return 0;
}

int control(const std::string &name, const std::string &command)
{
    const std::string reply = nubrix::vm::sendCommand(name, command);
    std::printf("%s\n", reply.c_str());
    return reply.rfind("ok", 0) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv)
{
    CLI::App app(
        "A software USB camera with depth, colour and infrared. Needs the module vhci-hcd.");
    app.require_subcommand(1);
    std::string name;
    std::string command;
    Camera::Options options;
    CLI::App *running = app.add_subcommand("run", "Plug it in and serve until the command quit");
    running->add_option("name", name, "How 'control' calls it")->required();
    running->add_option("--port", options.port, "Port of the host controller")
        ->check(CLI::Range(0, 7));
    running->add_option("--serial", options.serial, "Serial number")->capture_default_str();
    running->add_option("--formats", options.formats, "Which formats the streams have")
        ->check(CLI::IsMember({"usual", "packed", "planar", "jpeg"}))
        ->capture_default_str();
    running->add_flag("--isochronous", options.isochronous, "In place of bulk endpoints");
    CLI::App *controlling = app.add_subcommand("control", "Give a command and print the answer");
    controlling->add_option("name", name)->required();
    controlling
        ->add_option("command", command,
                     "plug, unplug, restart, stall, resume, cut, damage, state, quit")
        ->required();
    CLI11_PARSE(app, argc, argv);
    try {
        return running->parsed() ? run(name, options) : control(name, command);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "software_camera: %s\n", error.what());
        return 1;
    }
}
