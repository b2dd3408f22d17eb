// How does a service survive that its camera is unplugged? Measures while there is a camera, waits
// for one while there is none, and ends with success on SIGTERM. nubrix-service.service runs it.
#include <nubrix/client.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <thread>

using namespace nubrix::client;
using std::chrono::seconds;

static std::atomic<bool> g_stop{false};

static std::string g_problem;  // the last one that was logged; none while frames come

// Until the service is to stop. Throws when there is no camera, or when it is gone or does not
// answer any more. Everything of the camera is destroyed then: only so can it be opened anew.
static void measure(const Session &session)
{
    Camera camera = session.open();
    Stream depth = camera.start(StreamType::kDepth);
    std::fprintf(stderr, "measuring with %s\n", camera.info().uri.c_str());
    while (!g_stop) {
        const Frame frame = depth.nextComplete(seconds(2));
        g_problem.clear();
        if (frame.index() % 30 == 0) {  // your work goes here
            std::fprintf(stderr, "%.0f mm\n",
                         frame.millimetres(frame.width() / 2, frame.height() / 2));
        }
    }
}

int main()
{
    std::signal(SIGTERM, [](int) { g_stop = true; });  // systemd, and below Ctrl-C
    std::signal(SIGINT, [](int) { g_stop = true; });
    try {
        const Session session;
        const Subscription subscription =
            session.onCamerasChanged([](const std::string &uri, bool attached) {
                std::fprintf(stderr, "%s %s\n", uri.c_str(), attached ? "arrived" : "left");
            });
        while (!g_stop) {
            try {
                measure(session);
            } catch (const Error &error) {
                if (g_problem != error.what())  // once, not with every attempt
                    std::fprintf(stderr, "%s\n", error.what());
                g_problem = error.what();
                std::this_thread::sleep_for(seconds(1));
            }
        }
    } catch (const std::exception &error) {  // systemd starts it anew
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    std::fprintf(stderr, "stopped\n");
    return EXIT_SUCCESS;
}
