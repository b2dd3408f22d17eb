// How does a camera get new firmware? Writes an image into it, shows the progress, and the versions
// before and afterwards.
//
//     upgrade_firmware URI FILE          the URI as list_cameras prints it
#include <nubrix/client.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>

using namespace nubrix::client;

static void printVersion(const char *when, const Camera &camera)
{
    const NubrixVersions versions = camera.versions();
    std::printf("%s: firmware %d.%d.%d\n", when, versions.firmware[0], versions.firmware[1],
                versions.firmware[2]);
}

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "Usage: upgrade_firmware URI FILE\n");
        return 2;
    }
    try {
        // Always a certain camera, never the first of the list: the image must be made for it.
        Camera camera = Session().open(argv[1]);
        printVersion("before", camera);
        // A camera with half of its firmware may not start again: Ctrl-C and the end of the
        // terminal are ignored until it is written. Its power and its cable are the user's part.
        std::signal(SIGINT, SIG_IGN);
        std::signal(SIGHUP, SIG_IGN);
        std::puts("do not unplug the camera");
        // Returns when the camera has started again and has checked what was written. The function
        // is called on another thread. Streams of the camera end, and can be started anew.
        camera.upgrade(argv[2], [](int percent) {
            std::printf("%d %%\n", percent);
            std::fflush(stdout);  // also when the output is a file
        });
        printVersion("now", camera);
    } catch (const Unplugged &error) {
        std::fprintf(stderr, "%s\nplug the camera in and upgrade it again\n", error.what());
        return EXIT_FAILURE;
    } catch (const std::exception &error) {  // the file is not for this camera, for example
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
