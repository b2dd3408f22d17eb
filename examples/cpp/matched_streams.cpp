// Which frames of several streams and cameras show the same moment? Prints sets of one frame of
// each stream of all cameras, with the time between the first and the last of a set.
//
//     matched_streams [SETS]             30 sets without a number
#include <nubrix/client.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <vector>

using namespace nubrix::client;

int main(int argc, char **argv)
{
    const int wanted = argc > 1 ? std::atoi(argv[1]) : 30;
    try {
        const Session session;
        std::vector<Stream> streams;
        std::vector<Frame> frames;  // one of each stream
        int rate = 127;             // of the slowest stream, frames/s
        for (const CameraInfo &info : session.cameras()) {
            Camera camera = session.open(info.uri);  // its streams keep it open
            for (const StreamType type : {StreamType::kColor, StreamType::kDepth}) {
                std::printf("%zu: %s of %s\n", streams.size(), name(type), info.uri.c_str());
                streams.push_back(camera.start(type));
                frames.push_back(streams.back().next());
                rate = std::min(rate, camera.mode(type).value_or(Mode()).framesPerSecond);
            }
        }
        if (streams.empty())
            throw std::runtime_error("no camera is attached");
        const auto isEarlier = [](const Frame &a, const Frame &b) { return a.time() < b.time(); };
        // Half of the time between two frames: two cameras without a common trigger are up to that
        // far apart. The streams of one camera usually have the same time to the microsecond.
        const std::chrono::duration<double> together(0.5 / rate);
        for (int sets = 0, tries = 0; sets < wanted; ++tries) {
            if (tries == 300)
                throw std::runtime_error("300 frames without a set: losses, or no common trigger");
            const auto [first, last] = std::minmax_element(frames.begin(), frames.end(), isEarlier);
            const std::chrono::duration<double, std::micro> apart = last->time() - first->time();
            if (apart > together) {  // the earliest has no partner: on to the next of its stream
                *first = streams[static_cast<std::size_t>(first - frames.begin())].next();
                continue;
            }
            std::printf("set %d, %.0f us apart:", sets, apart.count());
            for (std::size_t i = 0; i < frames.size(); ++i) {
                std::printf(" %zu:%u", i, frames[i].index());  // your work goes here
                frames[i] = streams[i].next();
            }
            std::printf("\n");
            ++sets;
            tries = 0;
        }
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
