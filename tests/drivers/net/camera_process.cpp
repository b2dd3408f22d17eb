// A process that a test can stop and kill: serves a camera, takes the control of one, or streams
// its depth until SIGTERM and then closes everything.
//
//     camera_process serve|control|stream ADDRESS
#include <gio/gio.h>
#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>

#include <arv.h>

#include "SimulatedCamera.h"
#include "net/NetDriver.h"
#include "tests/drivers/FakePool.h"

namespace {

std::unique_ptr<nubrix::simulator::SimulatedCamera> serve(const char *address)
{
    nubrix::simulator::SimulatedCameraSettings settings;
    settings.address = address;
    settings.serial = "PROCESS";
    return std::make_unique<nubrix::simulator::SimulatedCamera>(
        settings, [](std::uint32_t format, std::uint32_t frame, void *data, unsigned int width,
                     unsigned int height) {
            std::memset(data, static_cast<int>(frame & 0xffU),
                        std::size_t{width} * height * (format >> 16U & 0xffU) / 8);
        });
}

bool control(const char *address)
{
    GInetAddress *own = g_inet_address_new_from_string("127.0.0.1");
    GInetAddress *camera = g_inet_address_new_from_string(address);
    ArvDevice *device = arv_gv_device_new(own, camera, nullptr);
    return device != nullptr && arv_gv_device_is_controller(ARV_GV_DEVICE(device)) != FALSE;
}

void reportReady()
{
    std::puts("up");
    std::fflush(stdout);
}

int stream(const std::string &address)
{
    sigset_t end;
    sigemptyset(&end);
    sigaddset(&end, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &end, nullptr);  // inherited by all later threads
    nubrix::net::NetDriver driver({});
    nubrix::FakePool pool(640 * 480 * 2);
    nubrix::FrameSink sink;
    NubrixBaseDevice *device = nullptr;
    NubrixBaseStream *stream = nullptr;
    if (driver.initialize() != 0 || driver.openDevice(("net:" + address).c_str(), &device) != 0 ||
        device->createStream(NUBRIX_STREAM_DEPTH, &stream) != 0)
        return 1;
    stream->setFrameAllocator(&pool);
    stream->setFrameCallback(&nubrix::FrameSink::receive, &sink);
    if (stream->start() != 0 || !sink.await(1))
        return 1;
    reportReady();
    int signal = 0;
    sigwait(&end, &signal);
    stream->stop();
    return driver.closeDevice(&device) == 0 ? 0 : 1;
}

}  // namespace

int main(int count, char **words)
try {
    if (count != 3)
        return 2;
    if (std::strcmp(words[1], "stream") == 0)
        return stream(words[2]);
    std::unique_ptr<nubrix::simulator::SimulatedCamera> served;
    if (std::strcmp(words[1], "serve") == 0)
        served = serve(words[2]);
    else if (!control(words[2]))
        return 1;
    reportReady();
    for (;;)
        pause();
} catch (const std::exception &error) {
    std::puts(error.what());
    return 1;
}
