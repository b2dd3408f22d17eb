// A program of its own that a test can stop and kill: serves a camera or holds one.
//
//     camera_process serve|hold ADDRESS
#include <gio/gio.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>

#include <arv.h>

#include "SimulatedCamera.h"

namespace {

std::unique_ptr<nubrix::SimulatedCamera> serve(const char *address)
{
    nubrix::SimulatedCameraSettings settings;
    settings.address = address;
    settings.serial = "PROCESS";
    return std::make_unique<nubrix::SimulatedCamera>(
        settings, [](std::uint32_t format, std::uint32_t frame, void *data, unsigned int width,
                     unsigned int height) {
            std::memset(data, static_cast<int>(frame & 0xffU),
                        std::size_t{width} * height * (format >> 16U & 0xffU) / 8);
        });
}

bool hold(const char *address)
{
    GInetAddress *own = g_inet_address_new_from_string("127.0.0.1");
    GInetAddress *camera = g_inet_address_new_from_string(address);
    ArvDevice *device = arv_gv_device_new(own, camera, nullptr);
    return device != nullptr && arv_gv_device_is_controller(ARV_GV_DEVICE(device)) != FALSE;
}

}  // namespace

int main(int count, char **words)
try {
    if (count != 3)
        return 2;
    std::unique_ptr<nubrix::SimulatedCamera> served;
    if (std::strcmp(words[1], "serve") == 0)
        served = serve(words[2]);
    else if (!hold(words[2]))
        return 1;
    std::puts("up");
    std::fflush(stdout);
    for (;;)
        pause();
} catch (const std::exception &error) {
    std::puts(error.what());
    return 1;
}
