// Which cameras are there, what can they do, and how is a certain one opened?
//
//     list_cameras                       all cameras, their versions and modes
//     list_cameras SERIAL_NUMBER         this one only; fails when it is not attached
#include <nubrix/client.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

using namespace nubrix::client;

// A camera must be open for its versions and modes.
static void print(const Camera &camera)
{
    try {
        const NubrixVersions versions = camera.versions();
        std::printf("    firmware %d.%d.%d, hardware %d.%d.%d\n", versions.firmware[0],
                    versions.firmware[1], versions.firmware[2], versions.hardware[0],
                    versions.hardware[1], versions.hardware[2]);
    } catch (const Unsupported &) {
        std::puts("    its versions are not known");
    }
    for (const StreamType type : {StreamType::kColor, StreamType::kDepth, StreamType::kInfrared,
                                  StreamType::kLightInfrared}) {
        for (const Mode &mode : camera.modes(type)) {  // none when there is no such stream
            std::printf("    %s %d x %d, %d frames/s, pixel format %d\n", name(type), mode.width,
                        mode.height, mode.framesPerSecond, static_cast<int>(mode.format));
        }
    }
}

int main(int argc, char **argv)
{
    const std::string wanted = argc > 1 ? argv[1] : "";
    int shown = 0;
    try {
        const Session session;
        for (const CameraInfo &info : session.cameras()) {
            if (!wanted.empty() && info.serialNumber != wanted)
                continue;
            ++shown;
            std::printf("%s  %s, serial number %s\n", info.uri.c_str(), info.productName.c_str(),
                        info.serialNumber.c_str());
            try {
                print(session.open(info.uri));
            } catch (const Error &error) {  // another program may have it: go on with the next
                std::printf("    %s\n", error.what());
            }
        }
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    if (shown == 0)
        std::fprintf(stderr, "no such camera is attached; 'nubrix doctor' looks for the reason\n");
    return shown > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
